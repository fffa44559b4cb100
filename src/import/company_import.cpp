#include "import/company_import.h"

#include "base/codepage.h"
#include "base/numbers.h"
#include "storage/company_image.h"
#include "storage/file_safety.h"

#include <cerrno>
#include <cstdio>
#include <sys/stat.h>
#include <unordered_map>

namespace td {

namespace {

// The first free record: the first from 1 upward whose Exists is not 1.
std::uint64_t First_Free(const Company_Image& image) {
    std::uint64_t next_free = 1;
    while (image.Exists(next_free))
        ++next_free;
    return next_free;
}

// Record numbers by key, for the records before the first free one, in ascending order.
using Key_Index = std::unordered_map<std::string, std::vector<std::uint64_t>>;

Key_Index Index_Keys(const Company_Image& image, std::uint64_t next_free) {
    Key_Index index;
    index.reserve(static_cast<std::size_t>(next_free) * 2);
    for (std::uint64_t j = 1; j < next_free; ++j)
        index[image.Key(j)].push_back(j);
    return index;
}

// "Kind:Code:Group:Subgroup - CN: Name", every field at its full width.
std::string Codes_And_Name(const std::uint8_t* raw) {
    const Company_Record record = Decode_Company(raw);
    return record.Kind_Code + ":" + record.Code + ":" + record.Group_Code + ":" +
           record.Subgroup_Code + " - CN: " + record.Name;
}

void Report(const Import_Progress& progress, std::size_t row, std::size_t rows) {
    if (progress)
        progress(Import_Percent(row, rows));
}

} // namespace

int Import_Percent(std::size_t row, std::size_t rows) {
    return rows == 0 ? 0 : static_cast<int>(100 * row / rows);
}

Import_Row Map_Row(const Table_Reader& table, int row) {
    Company_Record record;
    record.Exists = 1;
    record.Code = table.Text(row, 1);
    record.Kind_Code = table.Text(row, 2);
    // Split by characters of code page 1251, where every character is one byte.
    const std::string code = Utf8_To_Cp1251(table.Text(row, 3));
    record.Group_Code = Cp1251_To_Utf8(code.substr(0, std::min<std::size_t>(code.size(), 5)));
    record.Subgroup_Code = Cp1251_To_Utf8(code.size() > 5 ? code.substr(5, 5) : std::string());
    record.Name = table.Text(row, 4);
    Import_Row mapped;
    Encode(record, mapped.raw.data());
    // The kind as the record holds it, cut to its width.
    mapped.company = Leading_Number(Decode_Company(mapped.raw.data()).Kind_Code) == 1.0;
    return mapped;
}

std::vector<Import_Row> Map_Rows(const Table_Reader& table) {
    std::vector<Import_Row> rows;
    rows.reserve(static_cast<std::size_t>(table.Row_Count()));
    for (int r = 1; r <= table.Row_Count(); ++r)
        rows.push_back(Map_Row(table, r));
    return rows;
}

bool Update_Company_File(const std::vector<Import_Row>& rows, const std::string& company_file,
                         const Import_Progress& progress, Update_Result& result,
                         File_Failure& failure) {
    result = {};
    Company_Image image;
    if (!image.Load(company_file, failure))
        return false;
    std::uint64_t next_free = First_Free(image);
    Key_Index index = Index_Keys(image, next_free);
    // The scan of each row runs over records 1 to Next_Free, the free record itself included:
    // the index holds those before it, the free one is looked at by itself.
    for (std::size_t r = 0; r < rows.size(); ++r) {
        const Import_Row& row = rows[r];
        if (row.company) {
            bool is_new = true;
            const std::string key = Company_Image::Key_Of(row.raw.data());
            auto rename = [&](std::uint64_t j) {
                if (!Company_Image::Same_Name(image.Raw(j), row.raw.data())) {
                    image.Set_Name(j, row.raw.data());
                    ++result.renamed;
                }
                is_new = false;
            };
            if (auto found = index.find(key); found != index.end())
                for (std::uint64_t j : found->second)
                    rename(j);
            if (image.Key(next_free) == key)
                rename(next_free);
            if (is_new) {
                image.Put(next_free, row.raw.data());
                index[key].push_back(next_free);
                ++next_free;
                ++result.added;
            }
        }
        Report(progress, r + 1, rows.size());
    }
    if (!image.Changed())
        return true;
    return image.Save(company_file, failure);
}

namespace {

// A folder "Replaced-<stamp>" under `data_folder` that did not exist before; "-2", "-3" and so on
// are added when one of that name is there already.
bool Make_Replaced_Folder(const std::string& data_folder, const std::string& stamp,
                          std::string& folder, File_Failure& failure) {
    const std::string base = data_folder + "/Replaced-" + stamp;
    for (int n = 1; n < 1000; ++n) {
        folder = n == 1 ? base : base + "-" + std::to_string(n);
        if (::mkdir(folder.c_str(), 0777) == 0)
            return Sync_Folder_Of(folder) || (failure.Note(false, data_folder, errno), false);
        if (errno != EEXIST) {
            failure.Note(false, folder, errno);
            return false;
        }
    }
    failure.Note(false, base, EEXIST);
    return false;
}

std::string Base_Name(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool Present(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0;
}

} // namespace

bool Replace_Company_File(const std::vector<Import_Row>& rows, const Replace_Files& files,
                          const Import_Progress& progress, std::string& moved_to,
                          File_Failure& failure) {
    moved_to.clear();
    std::vector<std::uint8_t> bytes;
    for (std::size_t r = 0; r < rows.size(); ++r) {
        if (rows[r].company)
            bytes.insert(bytes.end(), rows[r].raw.begin(), rows[r].raw.end());
        Report(progress, r + 1, rows.size());
    }
    // The new file stands ready before anything moves: a failure here changes nothing. The
    // company file is replaced at its own path, a symlink there included (the link moves away
    // with the others, and what it points to is left alone).
    if (!Write_Replacement(files.company_file, bytes.data(), bytes.size(), failure))
        return false;
    std::vector<std::string> to_move = files.others;
    to_move.insert(to_move.begin() + std::min<std::size_t>(1, to_move.size()), files.company_file);
    bool any = false;
    for (const std::string& path : to_move)
        any = any || Present(path);
    if (any) {
        std::string folder;
        if (!Make_Replaced_Folder(files.data_folder, files.stamp, folder, failure)) {
            Drop_Replacement(files.company_file);
            return false;
        }
        for (const std::string& path : to_move) {
            // A file that is missing or can't be moved stays: that stops nothing.
            if (Present(path))
                std::rename(path.c_str(), (folder + "/" + Base_Name(path)).c_str());
        }
        Sync_Folder_Of(folder + "/.");
        Sync_Folder_Of(files.company_file);
        moved_to = folder;
    }
    return Commit_Replacement(files.company_file, failure);
}

bool Compare_Company_File(const std::vector<Import_Row>& rows, const std::string& company_file,
                          const Import_Progress& progress, std::string& report,
                          File_Failure& failure) {
    report.clear();
    Company_Image image;
    if (!image.Load(company_file, failure))
        return false;
    const std::uint64_t next_free = First_Free(image);
    const Key_Index index = Index_Keys(image, next_free);
    const std::string free_key = image.Key(next_free);
    for (std::size_t r = 0; r < rows.size(); ++r) {
        const Import_Row& row = rows[r];
        if (row.company) {
            const std::string key = Company_Image::Key_Of(row.raw.data());
            std::uint64_t first = 0;
            if (auto found = index.find(key); found != index.end())
                first = found->second.front();
            else if (free_key == key)
                first = next_free;
            if (first == 0) {
                report += "Найдено отличие:\r\n";
                report += "В БД программы запись отсутствует: \r\n";
                report += "  - в БД 1С: " + Codes_And_Name(row.raw.data()) + "\r\n";
            } else if (!Company_Image::Same_Name(image.Raw(first), row.raw.data())) {
                report += "Найдено отличие:\r\n";
                report += "В БД программы запись: " + Codes_And_Name(image.Raw(first)) + "\r\n";
                report += "  - в БД 1С: " + Codes_And_Name(row.raw.data()) + "\r\n";
            }
        }
        Report(progress, r + 1, rows.size());
    }
    return true;
}

} // namespace td
