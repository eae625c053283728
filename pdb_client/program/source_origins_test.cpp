#include "pdb_client/program/source_origins.h"

#include <gtest/gtest.h>

namespace qv::profiler::pdb_client {
namespace {

std::string origin(std::string_view data, const wchar_t* document) {
    return source_origins({data.begin(), data.end()}).origin_of(document).value_or("none");
}

TEST(SourceOrigins, SourceLink) {
    constexpr std::string_view data = R"({"documents": {
        "C:\\src\\*": "https://host/main/*",
        "C:\\src\\lib\\*": "https://host/lib/*?raw=1",
        "/_/one.cs": "https://host/one",
        "/*/two.cs": "https://host/*",
        "/bare/*": "https://host/no-star"}})";
    const std::pair<const wchar_t*, const char*> cases[] = {
        {L"C:\\src\\a b\\\u00c4#.cs", "https://host/main/a%20b/%C3%84%23.cs"},
        {L"c:\\SRC\\Lib\\x.cs", "https://host/lib/x.cs?raw=1"},
        {L"/_/ONE.cs", "https://host/one"},
        {L"/_/one.cs2", "none"},
        {L"/x/two.cs", "none"},
        {L"/bare/a.cs", "none"},
        {L"\xD800", "none"}};
    for (const auto& [document, url] : cases) EXPECT_EQ(origin(data, document), url);
    EXPECT_EQ(origin("{\"documents\": []}", L"/a"), "none");
    EXPECT_EQ(origin("", L"/a"), "none");
}

TEST(SourceOrigins, SourceServerStream) {
    const std::string head = "SRCSRV: ini ----\r\nVERSION=2\r\nSRCSRV: variables ----\r\n";
    const std::string files =
        "SRCSRV: source files ----\r\nC:\\a\\x.cs*HOST*lower*8\r\nC:\\a\\X.cs*HOST*dir/x%20.cs*7\r\nSRCSRV: end "
        "----\r\n";
    const std::pair<const char*, const char*> cases[] = {
        {"SRCSRVTRG=%RAW%/%var3%?v=%Var4%\r\nRAW=http://h\r\n", "http://h/dir/x%20.cs?v=7"},
        {"HOST=server:1\r\nCMD=get -p %fnvar%(%var2%) %srcsrvtrg%\r\nSRCSRVCMD=%cmd%\r\n"
         "SRCSRVTRG=%targ%\\%fnbksl%( %var3% )\\%fnfile%(%var1%)\r\n",
         "get -p server:1 %targ%\\dir\\x%20.cs\\X.cs"},
        {"SRCSRVTRG=%a%%a%\r\na=%srcsrvtrg%%srcsrvtrg%\r\n", "none"},
        {"SRCSRVTRG=100%\r\n", "100%"},
        {"OTHER=1\r\n", "none"}};
    for (const auto& [variables, source] : cases) EXPECT_EQ(origin(head + variables + files, L"C:\\a\\X.cs"), source);
    EXPECT_EQ(origin(head + cases[0].first + files, L"c:\\A\\X.CS"), "http://h/lower?v=8");
    EXPECT_EQ(origin(head + cases[0].first + files, L"C:\\b.cs"), "none");
}

}  // namespace
}  // namespace qv::profiler::pdb_client
