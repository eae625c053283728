// The compound core stream interfaces.
#pragma once

#include "core/src/stream/IReadCoreStream.h"
#include "core/src/stream/ISeekStream.h"
#include "core/src/stream/IWriteCoreStream.h"

namespace qv {

class IReadSeekCoreStream : public IReadCoreStream, public ISeekStream {};

class IWriteSeekCoreStream : public IWriteCoreStream, public ISeekStream {};

// Both directions over one channel, such as a pipe.
class ICoreStream : public IReadCoreStream, public IWriteCoreStream {};

}  // namespace qv
