// The HTTP server that ./test runs beside tests under Wine (server.py), as they see it.
#pragma once

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>
#include <cstdlib>
#include <fstream>
#include <string>

#include "tests/support/files/test_files.h"

namespace qv::testing {

class http_server {
public:
    // False where no server runs: tests are skipped.
    static bool runs() { return std::getenv("QV_HTTP_FOLDER") != nullptr; }

    // The files of this object are its own, in a folder of the server that goes with it.
    http_server() : folder_(std::getenv("QV_HTTP_FOLDER")) {
        std::wifstream((folder_ / "ports").string()) >> plain >> secure >> dying;
        store_ = boost::filesystem::unique_path();
        boost::filesystem::create_directories(folder_ / store_);
    }
    ~http_server() {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(folder_ / store_, ignored);
    }
    http_server(const http_server&) = delete;
    http_server& operator=(const http_server&) = delete;

    // "PLACE/WAY/STORE", where PLACE is such as "http://127.0.0.1:80" and WAY is one of server.py's.
    std::wstring store(const std::wstring& place, const std::wstring& way) const {
        return place + L"/" + way + L"/" + store_.wstring();
    }
    std::wstring store(const std::wstring& way) const { return store(L"http://127.0.0.1:" + plain, way); }

    void put(const boost::filesystem::path& file, const boost::filesystem::path& place) const {
        boost::filesystem::create_directories((folder_ / store_ / place).parent_path());
        boost::filesystem::copy_file(file, folder_ / store_ / place,
                                     boost::filesystem::copy_options::overwrite_existing);
    }

    // How often the server was asked for a path that ends so, in this object's folder.
    std::size_t requests(const std::string& end) const {
        std::size_t count = 0;
        std::ifstream log((folder_ / "requests").string());
        for (std::string line; std::getline(log, line);)
            count += line.find(store_.string()) != std::string::npos && line.ends_with(end);
        return count;
    }

    std::string certificate() const { return read_file(folder_ / "certificate.pem"); }

    std::wstring plain, secure, dying;  // ports

private:
    boost::filesystem::path folder_;
    boost::filesystem::path store_;
};

}  // namespace qv::testing
