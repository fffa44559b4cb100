#include "storage/totals_image.h"

namespace td {

File_Failure Totals::Write(const std::string& path) const {
    Record_File file(path, Cache_Record_Size);
    File_Failure failure;
    failure.Note(file.Write_Block(1, static_cast<std::uint64_t>(elements_), bytes_.data()), file);
    return failure;
}

Record_File Open_Creating(const std::string& path, std::size_t record_length) {
    Record_File file;
    if (!file.Open(path, record_length))
        file.Open(path, record_length, Record_File::Mode::Read_Only);
    return file;
}

} // namespace td
