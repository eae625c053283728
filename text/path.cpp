#include "qv/text/path.h"

#include "qv/text/utf.h"

namespace qv::text {

boost::filesystem::path to_path(const std::wstring& utf16) {
#ifdef _WIN32
    return boost::filesystem::path(utf16);
#else
    return boost::filesystem::path(to_utf8(utf16));
#endif
}

std::wstring to_wide(const boost::filesystem::path& path) {
#ifdef _WIN32
    return path.native();
#else
    return to_utf16(path.native());
#endif
}

}  // namespace qv::text
