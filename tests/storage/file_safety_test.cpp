// The writers' lock on the database file, the real file behind a path and the flush of a folder.
#include "storage/file_safety.h"
#include "support/temp_folder.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace td::test {
namespace {

namespace fs = std::filesystem;

class File_Safety : public ::testing::Test {
protected:
    Temp_Folder folder;
    ~File_Safety() override { database_lock_hook::After_Open = nullptr; }
};

// (Another process holding the lock, and its end freeing it, are tried with tdctl processes.)
TEST_F(File_Safety, OneHolderAtATimeWhateverThePathItCameBy) {
    Temp_Folder elsewhere;
    elsewhere.Write("TD.cdb", "database");
    fs::create_symlink(elsewhere.File("TD.cdb"), folder.File("TD.cdb"));
    fs::create_symlink(folder.Path(), elsewhere.File("linked-folder"));

    Database_Lock first(folder.File("TD.cdb"));
    ASSERT_TRUE(first.Held());
    EXPECT_EQ(first.Real_Path(), fs::canonical(elsewhere.File("TD.cdb")).string());
    EXPECT_TRUE(first.Covers(elsewhere.File("TD.cdb")));

    // Each open of the file is a holder of its own, even within one process.
    for (const std::string& path : {elsewhere.File("TD.cdb"), folder.File("TD.cdb"),
                                    elsewhere.File("linked-folder/TD.cdb")}) {
        Database_Lock second(path);
        EXPECT_EQ(second.Status(), Database_Lock::State::Busy) << path;
        EXPECT_EQ(second.Error(), EWOULDBLOCK);
        EXPECT_FALSE(second.Covers(path));
    }

    first.Release();
    EXPECT_FALSE(first.Held());
    Database_Lock after(elsewhere.File("TD.cdb"));
    EXPECT_TRUE(after.Held());

    Database_Lock missing(folder.File("none.cdb"));
    EXPECT_EQ(missing.Status(), Database_Lock::State::Failed);
    EXPECT_EQ(missing.Error(), ENOENT);
}

int replacements = 0;
int replace_times = 0;
std::string replaced_path;

void Replace_Database() {
    if (replacements >= replace_times)
        return;
    ++replacements;
    const std::string fresh = replaced_path + ".new";
    std::FILE* out = std::fopen(fresh.c_str(), "wb");
    std::fputs("compacted", out);
    std::fclose(out);
    std::rename(fresh.c_str(), replaced_path.c_str());
}

// A file replaced between the open and the lock (what a defragmentation finishing at that instant
// does) is not the database any more: the lock goes to the file now at the path.
TEST_F(File_Safety, AFileReplacedWhileBeingLockedIsNotTakenForTheDatabase) {
    folder.Write("TD.cdb", "database");
    replaced_path = folder.File("TD.cdb");
    database_lock_hook::After_Open = Replace_Database;

    replacements = 0;
    replace_times = 1;
    Database_Lock lock(folder.File("TD.cdb"));
    ASSERT_TRUE(lock.Held());
    EXPECT_EQ(replacements, 1);
    EXPECT_TRUE(lock.Covers(folder.File("TD.cdb")));
    database_lock_hook::After_Open = nullptr;
    // It holds the new file: a second taker is refused.
    EXPECT_EQ(Database_Lock(folder.File("TD.cdb")).Status(), Database_Lock::State::Busy);

    // Replaced under a held lock, the lock no longer covers the path.
    folder.Write("other", "other");
    ASSERT_EQ(std::rename(folder.File("other").c_str(), folder.File("TD.cdb").c_str()), 0);
    EXPECT_FALSE(lock.Covers(folder.File("TD.cdb")));
    lock.Release();

    // A file replaced again and again is given up as busy rather than waited for.
    database_lock_hook::After_Open = Replace_Database;
    replacements = 0;
    replace_times = 1000;
    Database_Lock never(folder.File("TD.cdb"));
    EXPECT_EQ(never.Status(), Database_Lock::State::Busy);
    EXPECT_GT(replacements, 1);
    EXPECT_LT(replacements, 1000);
}

TEST_F(File_Safety, RealPathsAndFolderFlush) {
    Temp_Folder elsewhere;
    elsewhere.Write("TD.cdb", "x");
    fs::create_symlink(elsewhere.File("TD.cdb"), folder.File("hop"));
    fs::create_symlink(folder.File("hop"), folder.File("TD.cdb"));
    const std::string real = fs::canonical(elsewhere.File("TD.cdb")).string();
    EXPECT_EQ(Real_File_Path(folder.File("TD.cdb")), real);
    EXPECT_EQ(Real_File_Path(folder.File("./hop")), real);
    EXPECT_EQ(Real_File_Path(folder.File("missing.cdb")), folder.File("missing.cdb"));

    EXPECT_TRUE(Sync_Folder_Of(folder.File("TD.cdb")));
    EXPECT_TRUE(Sync_Folder_Of(folder.File("not-yet-there")));
    EXPECT_FALSE(Sync_Folder_Of(folder.File("no-folder/TD.cdb")));
}

} // namespace
} // namespace td::test
