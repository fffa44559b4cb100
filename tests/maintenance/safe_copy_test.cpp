// The copy of backup and restore: a symlinked target replaced where it really lives, the failure
// numbers the wizard shows, a copy onto itself, the work file never left behind.
#include "maintenance/safe_copy.h"
#include "support/temp_folder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>
#include <vector>

namespace td::test {
namespace {

namespace fs = std::filesystem;

TEST(Safe_Copy, ReplacesWholeFollowsLinksAndNumbersItsFailures) {
    Temp_Folder folder;
    folder.Write("db", std::string(100000, 'n'));
    fs::create_directories(folder.File("real"));
    folder.Write("real/TD.cbk", "old");
    ASSERT_EQ(::symlink(folder.File("real/TD.cbk").c_str(), folder.File("link.cbk").c_str()), 0);

    // Small blocks: the copy takes several steps, each seen by the hook, growing.
    static std::vector<std::uint64_t> steps;
    steps.clear();
    copy_hook::Block_Bytes = 4096;
    copy_hook::After_Block = [](std::uint64_t bytes) { steps.push_back(bytes); };
    Copy_Outcome done = Copy_File_Whole(folder.File("db"), folder.File("link.cbk"));
    copy_hook::After_Block = nullptr;
    copy_hook::Block_Bytes = 0;
    ASSERT_TRUE(done.Ok()) << done.description;
    ASSERT_EQ(steps.size(), 25u);
    EXPECT_EQ(steps.front(), 4096u);
    EXPECT_EQ(steps.back(), 100000u);
    EXPECT_EQ(done.bytes, 100000u);
    EXPECT_TRUE(fs::is_symlink(folder.File("link.cbk"))) << "the link stays a link";
    EXPECT_EQ(folder.Read("real/TD.cbk"), std::string(100000, 'n'));
    EXPECT_FALSE(fs::exists(folder.File("real/$Copy$.tmp")));

    // Onto itself: nothing to do, nothing lost.
    EXPECT_TRUE(Copy_File_Whole(folder.File("db"), folder.File("db")).Ok());
    EXPECT_EQ(folder.Read("db"), std::string(100000, 'n'));

    // The numbers: no source file, no target folder, a folder as the source.
    Copy_Outcome missing = Copy_File_Whole(folder.File("none"), folder.File("x"));
    EXPECT_EQ(missing.number, copy_failure::File_Not_Found);
    EXPECT_NE(missing.description.find(folder.File("none")), std::string::npos);
    Copy_Outcome no_folder = Copy_File_Whole(folder.File("db"), folder.File("no/such/TD.cbk"));
    EXPECT_EQ(no_folder.number, copy_failure::Path_Not_Found);
    Copy_Outcome source_folder = Copy_File_Whole(folder.File("real"), folder.File("x"));
    EXPECT_EQ(source_folder.number, copy_failure::Path_File_Access);
    EXPECT_FALSE(fs::exists(folder.File("x")));

    // A work file left by a copy that was stopped is no obstacle.
    folder.Write("real/$Copy$.tmp", "stale");
    EXPECT_TRUE(Copy_File_Whole(folder.File("db"), folder.File("real/TD.cbk")).Ok());
    EXPECT_FALSE(fs::exists(folder.File("real/$Copy$.tmp")));
}

} // namespace
} // namespace td::test
