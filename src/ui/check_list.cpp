#include "ui/check_list.h"

namespace td {

namespace {
const Check_Entry Empty_Entry;
}

int Check_List::Add(const std::string& text, const std::string& key, bool checked) {
    entries_.push_back({text, key, checked});
    Changed();
    return Count() - 1;
}

void Check_List::Clear() {
    entries_.clear();
    list_index_ = -1;
    Changed();
}

const Check_Entry& Check_List::Entry(int index) const {
    return index >= 0 && index < Count() ? entries_[index] : Empty_Entry;
}

bool Check_List::Set_Checked(int index, bool checked) {
    if (index < 0 || index >= Count()) {
        return false;
    }
    entries_[index].checked = checked;
    Changed();
    return true;
}

int Check_List::Checked_Count() const {
    int count = 0;
    for (const auto& entry : entries_) {
        count += entry.checked ? 1 : 0;
    }
    return count;
}

void Check_List::Set_List_Index(int index) {
    list_index_ = index >= 0 && index < Count() ? index : -1;
    Changed();
}

int Check_List::Find_Key(const std::string& key) const {
    for (int i = 0; i < Count(); ++i) {
        if (entries_[i].key == key) {
            return i;
        }
    }
    return -1;
}

int Check_List::Find_Text(const std::string& text) const {
    for (int i = 0; i < Count(); ++i) {
        if (entries_[i].text == text) {
            return i;
        }
    }
    return -1;
}

void Check_List::Changed() const {
    if (listener_) {
        listener_();
    }
}

} // namespace td
