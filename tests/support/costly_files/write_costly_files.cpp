// Writes the costly files of all shapes into a folder: write_costly_files DIR [DIVISOR]
//
// NAME.dll and, for shapes that have one, NAME.pdb beside it, at the default size divided by DIVISOR; prints the name
// and the MVID of each image.
#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "tests/support/costly_files/costly_files.h"

namespace {

namespace fs = boost::filesystem;
using namespace qv::test;

void write(const fs::path& path, const bytes& content) {
    fs::ofstream file(path, std::ios::binary);
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    file.close();
}

void write_all(const fs::path& folder, std::size_t divisor) {
    fs::create_directories(folder);
    std::vector<costly_shape> shapes = portable_costly_shapes();
    for (const auto& shape : classic_costly_shapes()) shapes.push_back(shape);
    for (const auto& shape : shapes) {
        const costly_files files = shape.make_files(shape.default_size / divisor);
        write(folder / (shape.name + ".dll"), files.image);
        if (!files.pdb.empty()) write(folder / costly_pdb_name(shape.name), files.pdb);
        const GUID id = costly_mvid(shape.name);
        std::printf("%s %08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X\n", shape.name.c_str(),
                    static_cast<unsigned>(id.Data1), id.Data2, id.Data3, id.Data4[0], id.Data4[1], id.Data4[2],
                    id.Data4[3], id.Data4[4], id.Data4[5], id.Data4[6], id.Data4[7]);
    }
}

}  // namespace

int main(int count, char** arguments) {
    const std::size_t divisor = count == 3 ? std::strtoul(arguments[2], nullptr, 10) : 1;
    if (count < 2 || count > 3 || divisor == 0) {
        std::fputs("usage: write_costly_files DIR [DIVISOR]\n", stderr);
        return 2;
    }
    try {
        write_all(arguments[1], divisor);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
