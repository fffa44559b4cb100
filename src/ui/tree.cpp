#include "ui/tree.h"

#include <string_view>

namespace td {

namespace {

const Tree_Node Empty_Node;
const std::string Empty_Text;

std::string_view Trim_Blanks(std::string_view text) {
    const auto first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

} // namespace

int Tree::Add(const std::string& parent_key, const std::string& key, const std::string& text,
              const std::string& image) {
    int parent = -1;
    if (!parent_key.empty()) {
        parent = Find(parent_key);
        if (parent < 0) {
            return Unknown_Key;
        }
    }
    if (!key.empty() && index_.contains(key)) {
        return Duplicate_Key;
    }
    Tree_Node node;
    node.key = key;
    node.parent_key = parent_key;
    node.text = text;
    node.image = image;
    node.parent = parent;
    nodes_.push_back(std::move(node));
    if (!key.empty()) {
        index_.emplace(key, Count() - 1);
    }
    if (parent >= 0) {
        ++nodes_[parent].children;
    }
    return 0;
}

int Tree::Find(const std::string& key) const {
    const auto found = index_.find(key);
    return found == index_.end() ? -1 : found->second;
}

const Tree_Node& Tree::Node(int index) const {
    return index >= 0 && index < Count() ? nodes_[index] : Empty_Node;
}

int Tree::Children(const std::string& key) const {
    const int index = Find(key);
    return index < 0 ? -1 : nodes_[index].children;
}

const std::string& Tree::Text(const std::string& key) const {
    const int index = Find(key);
    return index < 0 ? Empty_Text : nodes_[index].text;
}

const std::string& Tree::Parent_Key(const std::string& key) const {
    const int index = Find(key);
    return index < 0 ? Empty_Text : nodes_[index].parent_key;
}

Tree_Node* Tree::Mutable(const std::string& key) {
    const int index = Find(key);
    return index < 0 ? nullptr : &nodes_[index];
}

bool Tree::Set_Text(const std::string& key, const std::string& text) {
    Tree_Node* node = Mutable(key);
    if (node == nullptr) {
        return false;
    }
    node->text = text;
    return true;
}

bool Tree::Set_Expanded(const std::string& key, bool expanded) {
    Tree_Node* node = Mutable(key);
    if (node == nullptr) {
        return false;
    }
    node->expanded = expanded;
    return true;
}

bool Tree::Set_Image(const std::string& key, const std::string& image) {
    Tree_Node* node = Mutable(key);
    if (node == nullptr) {
        return false;
    }
    node->image = image;
    return true;
}

bool Tree::Set_Sorted(const std::string& key, bool sorted) {
    Tree_Node* node = Mutable(key);
    if (node == nullptr) {
        return false;
    }
    node->sorted = sorted;
    return true;
}

int Tree::First_By_Text(const std::string& text) const {
    const std::string_view wanted = Trim_Blanks(text);
    for (int i = 0; i < Count(); ++i) {
        if (Trim_Blanks(nodes_[i].text) == wanted) {
            return i;
        }
    }
    return -1;
}

void Tree::Clear() {
    nodes_.clear();
    index_.clear();
}

} // namespace td
