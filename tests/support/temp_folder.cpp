#include "support/temp_folder.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <stdlib.h>

namespace td::test {

Temp_Folder::Temp_Folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "td-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("cannot create a temporary folder");
    path_ = pattern;
}

Temp_Folder::~Temp_Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void Temp_Folder::Write(const std::string& name, const std::string& content) const {
    std::ofstream out(File(name), std::ios::binary | std::ios::trunc);
    out << content;
}

std::string Temp_Folder::Read(const std::string& name) const {
    std::ifstream in(File(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

bool Temp_Folder::Exists(const std::string& name) const {
    return std::filesystem::exists(File(name));
}

std::vector<std::uint8_t> Read_All_Bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void Write_All_Bytes(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

} // namespace td::test
