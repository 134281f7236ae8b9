#pragma once

#include <memory>
#include <string>
#include <vector>

namespace pdalink::bench {

/// A device node with a terminal behind it that answers at once.
class Node {
public:
    Node() = default;
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;
    virtual ~Node() = default;

    virtual std::string path() const = 0;
    /// Takes the terminal away from whoever has the node open.
    virtual void hangUp() = 0;
    /// What the terminal objects to in what it was sent.
    virtual std::vector<std::string> complaints() const = 0;
};

/// A fresh node of the one kind that the program measures on.
std::unique_ptr<Node> makeNode();
/// The name of that kind.
const char* nodeKind();

} // namespace pdalink::bench
