#include "ui/drop_list.h"

namespace td {

namespace {
const std::string Empty_Text;
}

const std::string& Drop_List::Item(int index) const {
    return index >= 0 && index < Count() ? items_[index] : Empty_Text;
}

void Drop_List::Add_Item(const std::string& text, int position) {
    if (position >= 0 && position < Count()) {
        items_.insert(items_.begin() + position, text);
        // The chosen item stays chosen when an item goes in before it.
        if (list_index_ >= position) {
            ++list_index_;
        }
    } else {
        items_.push_back(text);
    }
    Changed();
}

void Drop_List::Clear() {
    items_.clear();
    list_index_ = -1;
    Changed();
}

void Drop_List::Set_List_Index(int index) {
    list_index_ = index >= 0 && index < Count() ? index : -1;
    Changed();
}

int Drop_List::Find(const std::string& text) const {
    for (int i = 0; i < Count(); ++i) {
        if (items_[i] == text) {
            return i;
        }
    }
    return -1;
}

void Drop_List::Changed() const {
    if (listener_) {
        listener_();
    }
}

} // namespace td
