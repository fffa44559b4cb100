// A temporary folder for one test, removed with everything in it when the test ends.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace td::test {

class Temp_Folder {
public:
    Temp_Folder();
    ~Temp_Folder();
    Temp_Folder(const Temp_Folder&) = delete;
    Temp_Folder& operator=(const Temp_Folder&) = delete;

    const std::string& Path() const { return path_; }
    std::string File(const std::string& name) const { return path_ + "/" + name; }

    void Write(const std::string& name, const std::string& content) const;
    std::string Read(const std::string& name) const;
    bool Exists(const std::string& name) const;

private:
    std::string path_;
};

std::vector<std::uint8_t> Read_All_Bytes(const std::string& path);
void Write_All_Bytes(const std::string& path, const std::vector<std::uint8_t>& bytes);

} // namespace td::test
