// A closed drop-down list: the user picks one of its items and can't type (the fuel and volume
// lists of the sale and redemption screens).
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace td {

class Drop_List {
public:
    int Count() const { return static_cast<int>(items_.size()); }
    const std::string& Item(int index) const;
    // Adds at the end, or before `position` when it is an existing index.
    void Add_Item(const std::string& text, int position = -1);
    // Empties the list; nothing is chosen afterwards.
    void Clear();

    // The chosen item, -1 for none. Choosing out of range chooses nothing.
    int List_Index() const { return list_index_; }
    void Set_List_Index(int index);
    // Text of the chosen item; empty when nothing is chosen.
    const std::string& Text() const { return Item(list_index_); }

    // Index of the first item with exactly this text; -1 when there is none.
    int Find(const std::string& text) const;

    // Called after every change so that a view can repaint.
    void On_Change(std::function<void()> listener) { listener_ = std::move(listener); }

private:
    void Changed() const;

    std::vector<std::string> items_;
    int list_index_ = -1;
    std::function<void()> listener_;
};

} // namespace td
