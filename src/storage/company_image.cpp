#include "storage/company_image.h"

#include "storage/file_safety.h"
#include "storage/record_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

namespace td {

namespace {

// Offsets of the fields the image looks at (the layout of Company_Record).
constexpr std::size_t Code_Offset = 1;
constexpr std::size_t Group_Offset = 11;
constexpr std::size_t Field_Width = 5;

const std::uint8_t* Zero_Record() {
    static const std::uint8_t zero[Company_Record_Size] = {};
    return zero;
}

} // namespace

bool Company_Image::Load(const std::string& path, File_Failure& failure) {
    bytes_.clear();
    length_ = 0;
    changed_ = false;
    if (!File_Exists(path))
        return true;
    Record_File file(path, 1, Record_File::Mode::Read_Only);
    if (!file.Is_Open()) {
        failure.Note(false, file);
        return false;
    }
    length_ = file.Size();
    const std::uint64_t records = (length_ + Company_Record_Size - 1) / Company_Record_Size;
    bytes_.assign(records * Company_Record_Size, 0);
    if (length_ > 0 && !file.Read_Bytes(0, length_, bytes_.data())) {
        failure.Note(false, file);
        return false;
    }
    return true;
}

const std::uint8_t* Company_Image::Raw(std::uint64_t number) const {
    if (number < 1 || number > Records())
        return Zero_Record();
    return bytes_.data() + (number - 1) * Company_Record_Size;
}

bool Company_Image::Exists(std::uint64_t number) const {
    return Raw(number)[0] == 1;
}

std::string Company_Image::Key_Of(const std::uint8_t* raw) {
    // Code is followed by Kind_Code, then Group_Code and Subgroup_Code side by side: the key is
    // put together from two runs of bytes.
    std::string key(Key_Size, '\0');
    std::memcpy(key.data(), raw + Code_Offset, Field_Width);
    std::memcpy(key.data() + Field_Width, raw + Group_Offset, 2 * Field_Width);
    return key;
}

bool Company_Image::Same_Name(const std::uint8_t* a, const std::uint8_t* b) {
    return std::memcmp(a + Company_Name_Offset, b + Company_Name_Offset,
                       Company_Record_Size - Company_Name_Offset) == 0;
}

std::uint8_t* Company_Image::Writable(std::uint64_t number) {
    if (number > Records())
        bytes_.resize(number * Company_Record_Size, 0);
    length_ = std::max<std::uint64_t>(length_, number * Company_Record_Size);
    changed_ = true;
    return bytes_.data() + (number - 1) * Company_Record_Size;
}

void Company_Image::Set_Name(std::uint64_t number, const std::uint8_t* raw) {
    if (number < 1)
        return;
    std::memcpy(Writable(number) + Company_Name_Offset, raw + Company_Name_Offset,
                Company_Record_Size - Company_Name_Offset);
}

void Company_Image::Put(std::uint64_t number, const std::uint8_t* raw) {
    if (number < 1)
        return;
    std::memcpy(Writable(number), raw, Company_Record_Size);
}

bool Company_Image::Save(const std::string& path, File_Failure& failure) const {
    const std::string real = Real_File_Path(path);
    return Write_Replacement(real, bytes_.data(), static_cast<std::size_t>(length_), failure) &&
           Commit_Replacement(real, failure);
}

std::string Replacement_Work_Path(const std::string& path) {
    return path + ".new";
}

void Drop_Replacement(const std::string& path) {
    Remove_File(Replacement_Work_Path(path));
}

bool Write_Replacement(const std::string& path, const std::uint8_t* bytes, std::size_t length,
                       File_Failure& failure) {
    const std::string work = Replacement_Work_Path(path);
    // A work file left by a run that was killed is stale: it never became the file.
    Remove_File(work);
    Record_File file(work, 1);
    bool ok = file.Is_Open();
    if (ok && length > 0)
        ok = file.Write_Bytes(0, length, bytes);
    if (ok)
        ok = file.Sync();
    if (!ok) {
        failure.Note(false, file);
        file.Close();
        Remove_File(work);
        return false;
    }
    file.Close();
    struct stat old {};
    if (::stat(path.c_str(), &old) == 0)
        ::chmod(work.c_str(), old.st_mode & 07777);
    return true;
}

bool Commit_Replacement(const std::string& path, File_Failure& failure) {
    const std::string work = Replacement_Work_Path(path);
    if (std::rename(work.c_str(), path.c_str()) != 0) {
        failure.Note(false, path, errno);
        Remove_File(work);
        return false;
    }
    if (!Sync_Folder_Of(path)) {
        failure.Note(false, Folder_Of(path), errno);
        return false;
    }
    return true;
}

} // namespace td
