// The hidden tree of keyed nodes behind the buyer browser. It is never drawn: it is the index
// that says which position has children and what its key is. Nodes are kept in order of
// creation, which the search by text relies on.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

namespace td {

struct Tree_Node {
    std::string key;
    std::string parent_key; // empty for a top-level node
    std::string text;
    std::string image; // "fc", "fo": kept, never drawn
    bool expanded = false;
    bool sorted = false; // kept; the tree is never shown, so it orders nothing
    int parent = -1;     // index of the parent, -1 for a top-level node
    int children = 0;
};

class Tree {
public:
    // The error numbers the system's tree control answers with.
    static constexpr int Unknown_Key = 35601;
    static constexpr int Duplicate_Key = 35602;

    // Adds a node under `parent_key` (empty: a top-level node, such as the root). Answers 0, or
    // Unknown_Key when the parent doesn't exist, or Duplicate_Key when `key` is taken; a failed
    // add changes nothing. An empty key adds a node that Find can't reach.
    int Add(const std::string& parent_key, const std::string& key, const std::string& text,
            const std::string& image = "fc");

    int Count() const { return static_cast<int>(nodes_.size()); }
    // Index of the node with this key, in creation order; -1 when there is none.
    int Find(const std::string& key) const;
    bool Exists(const std::string& key) const { return Find(key) >= 0; }
    // Out of range: an empty node.
    const Tree_Node& Node(int index) const;

    // Child count of the node with this key; -1 when the key is unknown, so that a caller can
    // tell the failure of the control apart from a leaf.
    int Children(const std::string& key) const;
    // Text and parent key of a node; empty when the key is unknown.
    const std::string& Text(const std::string& key) const;
    const std::string& Parent_Key(const std::string& key) const;

    // Setters answer false and change nothing when the key is unknown.
    bool Set_Text(const std::string& key, const std::string& text);
    bool Set_Expanded(const std::string& key, bool expanded);
    bool Set_Image(const std::string& key, const std::string& image);
    bool Set_Sorted(const std::string& key, bool sorted);

    // The first node in creation order whose text, trimmed of blanks, equals `text` trimmed;
    // -1 when there is none. Two companies of one name both match: the first wins.
    int First_By_Text(const std::string& text) const;

    void Clear();

private:
    Tree_Node* Mutable(const std::string& key);

    std::vector<Tree_Node> nodes_;
    std::unordered_map<std::string, int> index_;
};

} // namespace td
