// Feeds arbitrary bytes to the database header reader as the whole file. Besides crashes and
// sanitizer reports it checks what the readers promise: "Ok" or "$ERROR$" with its fixed
// outputs, trimmed texts, a verdict with a reason whenever the checksum doesn't agree; and that a
// header written over the same file keeps every byte from 350 on and reads back whole.
#include "fuzz_support.h"
#include "storage/header.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using namespace td::fuzz;

// One work file per process, removed after every input.
const std::string& Work_File() {
    static const std::string path = Scratch_Path("header", ".cdb");
    return path;
}

bool Trimmed(const std::string& text) {
    return text.empty() || (text.front() != ' ' && text.back() != ' ');
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string& path = Work_File();
    const Scratch_Input input(path, data, size);
    if (!input.Written())
        return 0;

    td::Header_Info info;
    const std::string result = td::Read_Header(path, info);
    Check(result == "Ok" || result == "$ERROR$");
    if (result == "$ERROR$") {
        Check(info.data_type == "$ERROR$");
        Check(info.count == -1);
    } else {
        Check(info.header_version.find('*') == std::string::npos);
        Check(info.header_version.find('\r') == std::string::npos);
        Check(Trimmed(info.header_version) && Trimmed(info.program_version) &&
              Trimmed(info.data_type));
    }

    const td::Header_Verification verdict = td::Verify_Header_Checksum(path);
    if (verdict.checksum_agrees)
        Check(verdict.parsed && verdict.reason.empty() &&
              verdict.stored_checksum == verdict.computed_checksum);
    else
        Check(!verdict.reason.empty());

    // A header written over whatever stood there: the tail survives, the head reads back.
    const long count = static_cast<long>(size % 100000000);
    Check(td::Create_Header(path, count));
    const std::vector<std::uint8_t> after = Read_File(path);
    Check(after.size() == std::max<std::size_t>(size, td::Header_Page_Size));
    for (std::size_t i = td::Header_Page_Size; i < size; ++i)
        Check(after[i] == data[i]);
    Check(td::Read_Header(path, info) == "Ok");
    Check(info.count == static_cast<double>(count) && info.records_offset == 6 &&
          info.record_length == 72 && info.data_type == td::Header_Data_Type &&
          info.header_version == "1.84.745");
    Check(td::Verify_Header_Checksum(path).checksum_agrees);
    return 0;
}
