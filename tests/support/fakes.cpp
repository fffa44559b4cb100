#include "support/fakes.h"

namespace td::test {

int Fake_Ui::Message_Box(const std::string& text, int flags, const std::string& title) {
    int answer = (flags & box::Yes_No) == box::Yes_No ? box::Answer_Yes : box::Answer_Ok;
    if (!scripted_answers.empty()) {
        answer = scripted_answers.front();
        scripted_answers.pop_front();
    }
    boxes.push_back({text, flags, title, answer});
    return answer;
}

void Fake_Ui::Show_Fatal_Screen(const std::string& module_path, const std::string& code) {
    fatals.push_back({module_path, code, pending_cause_});
    pending_cause_.clear();
    if (!resume_fatal)
        End_Process(1);
}

std::vector<std::string> Fake_Ui::Box_Texts() const {
    std::vector<std::string> texts;
    for (const auto& b : boxes)
        texts.push_back(b.text);
    return texts;
}

} // namespace td::test
