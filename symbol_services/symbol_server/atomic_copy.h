// Copying a file so that nobody ever sees a part of it.
//
// The bytes go to a temporary file beside the target, are flushed to disk and renamed. Any number of threads and
// processes may copy to one target at the same time: each writes a temporary file of its own, and whichever comes first
// stays. A process that is killed may leave a "~*.tmp" behind, which is never mistaken for the target.
#pragma once

#include <boost/filesystem/path.hpp>

namespace qv::symbol_store {

// True when `target` is a complete file afterwards, also where it was there before. The directory of `target` exists.
// False leaves nothing behind: the source cannot be read, changed meanwhile or has 4 GiB or more, the disk is full, the
// directory is read-only.
bool copy_atomically(const boost::filesystem::path& source, const boost::filesystem::path& target);

}  // namespace qv::symbol_store
