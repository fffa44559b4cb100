#include "cli/cli_ui.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace td {

Cli_Ui::Cli_Ui() : terminal_(isatty(STDERR_FILENO) == 1) {}

int Cli_Ui::Message_Box(const std::string& text, int flags, const std::string& title) {
    End_Progress_Line();
    if (title.empty())
        std::fprintf(stderr, "%s\n", text.c_str());
    else
        std::fprintf(stderr, "%s: %s\n", title.c_str(), text.c_str());
    // Nobody answers at the command line: questions take the answer that goes on.
    return (flags & box::Yes_No) == box::Yes_No ? box::Answer_Yes : box::Answer_Ok;
}

void Cli_Ui::Show_Fatal_Screen(const std::string& module_path, const std::string& code) {
    End_Progress_Line();
    std::fprintf(stderr, "FATAL ERROR %s in module: %s\n", code.c_str(), module_path.c_str());
    if (!cause_.empty())
        std::fprintf(stderr, "cause: %s\n", cause_.c_str());
    End_Process(1);
}

void Cli_Ui::Splash_Caption(const std::string& caption) {
    caption_ = caption;
    last_value_ = -1;
}

void Cli_Ui::Splash_Progress(int value) {
    Show_Progress(value);
}

void Cli_Ui::Search_Progress_Show(const std::string& label) {
    if (!label.empty())
        caption_ = label;
    last_value_ = -1;
}

void Cli_Ui::Search_Progress_Set(int value) {
    Show_Progress(value);
}

void Cli_Ui::Search_Progress_Hide() {
    End_Progress_Line();
}

void Cli_Ui::Show_Progress(int value) {
    if (!terminal_ || value == last_value_)
        return;
    last_value_ = value;
    std::fprintf(stderr, "\r%s %3d%%", caption_.c_str(), value);
    std::fflush(stderr);
    progress_line_open_ = true;
}

void Cli_Ui::End_Progress_Line() {
    if (progress_line_open_) {
        std::fprintf(stderr, "\n");
        progress_line_open_ = false;
    }
}

void Cli_Ui::End_Process(int exit_code) {
    End_Progress_Line();
    std::fflush(stdout);
    std::fflush(stderr);
    if (before_end_)
        before_end_();
    std::exit(exit_code);
}

} // namespace td
