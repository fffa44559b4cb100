// A list with a check mark per entry (the station list of the sale and redemption screens).
// Each entry has a text, a key and a mark; one entry at most is selected.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace td {

struct Check_Entry {
    std::string text;
    std::string key;
    bool checked = false;
};

class Check_List {
public:
    int Count() const { return static_cast<int>(entries_.size()); }
    // Adds at the end and answers the new entry's index.
    int Add(const std::string& text, const std::string& key = "", bool checked = false);
    void Clear();

    // Out of range: an empty entry.
    const Check_Entry& Entry(int index) const;
    const std::string& Text(int index) const { return Entry(index).text; }
    const std::string& Key(int index) const { return Entry(index).key; }
    bool Checked(int index) const { return Entry(index).checked; }
    // Out-of-range writes are ignored and answer false.
    bool Set_Checked(int index, bool checked);
    int Checked_Count() const;

    // The selected entry, -1 for none. Selecting out of range selects nothing.
    int List_Index() const { return list_index_; }
    void Set_List_Index(int index);

    // Index of the first entry with this key or text; -1 when there is none.
    int Find_Key(const std::string& key) const;
    int Find_Text(const std::string& text) const;

    // Called after every change so that a view can repaint.
    void On_Change(std::function<void()> listener) { listener_ = std::move(listener); }

private:
    void Changed() const;

    std::vector<Check_Entry> entries_;
    int list_index_ = -1;
    std::function<void()> listener_;
};

} // namespace td
