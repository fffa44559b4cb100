#include "cli/import_verbs.h"

#include "import/dbf_table.h"
#include "import/import_1c.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace td::cli {

namespace {

constexpr const char* Import_Usage = "usage: tdctl import FILE.dbf --update|--replace|--compare "
                                     "[--yes]";

int Import(const Arguments& args) {
    std::vector<std::string> rest = args.rest;
    const bool update = Take_Flag(rest, "--update");
    const bool replace = Take_Flag(rest, "--replace");
    const bool compare = Take_Flag(rest, "--compare");
    const bool yes = Take_Flag(rest, "--yes");
    if (update + replace + compare != 1)
        Fail("import", std::string("give one of --update, --replace, --compare; ") + Import_Usage,
             2);
    if (yes && !replace)
        Fail("import", "--yes goes with --replace only", 2);
    if (rest.size() != 1 || rest[0].empty() || rest[0][0] == '-')
        Fail("import",
             (rest.empty() ? std::string("no table named") : "unknown argument '" + rest[0] + "'") +
                 "; " + Import_Usage,
             2);
    std::error_code ec;
    const std::string path = std::filesystem::absolute(rest[0], ec).lexically_normal().string();
    if (replace)
        Confirm("import", yes,
                "The company file is replaced by the table; the database and the caches go with it "
                "into a folder Replaced-... of the data folder. Go on?",
                "replace");

    Session session(args.home);
    Dbf_Table table;
    Import_1C screen(session.State(), session.Ui(), session.Clock(), session.User_Settings(),
                     table);
    screen.Form_Load();
    screen.Text1_Change(path.empty() ? rest[0] : path);
    screen.Option_Click(update ? 1 : replace ? 2 : 3);
    session.Ui().Search_Progress_Show(Import_1C::Caption);
    screen.progress_changed = [&] {
        if (screen.ProgressBar1 != 0)
            session.Ui().Search_Progress_Set(screen.ProgressBar1);
    };
    if (compare) {
        screen.Command_Compare_Click();
        std::fwrite(screen.Text3.data(), 1, screen.Text3.size(), stdout);
        if (!screen.Text3.empty())
            session.Shutdown("the company file differs from the table");
        session.Shutdown();
    }
    // A failure takes the fatal path, which ends the run with its text and cause.
    screen.Command_Import_Click();
    if (update) {
        std::printf("renamed\t%ld\nadded\t%ld\n", screen.Updated().renamed, screen.Updated().added);
    } else {
        std::printf("companies\t%ld\n", session.State().Company_Count - 1);
        if (!screen.Replaced_Folder().empty())
            std::fprintf(stderr, "the files replaced were moved to %s\n",
                         screen.Replaced_Folder().c_str());
    }
    session.Shutdown();
}

} // namespace

int Run_Import_Verb(const Arguments& args) {
    if (args.verb == "import")
        return Import(args);
    return -1;
}

} // namespace td::cli
