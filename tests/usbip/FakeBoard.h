#pragma once

#include <map>
#include <string>
#include <vector>

namespace pdasim::test {

/// A /sys and a /dev in which scripts can set gadgets up, and the commands that do to them what a kernel
/// does.
class FakeBoard {
public:
    explicit FakeBoard(const std::vector<std::string>& controllers);

    /// What a process has to have in its environment.
    std::map<std::string, std::string> environment() const;

    /// The kernel knows the file as the node of a HID function.
    void addNode(const std::string& path) const;
    /// Something else has the controller.
    void use(const std::string& controller) const;
    /// No function can be made.
    void breakFunctions() const;
    /// The privileged commands that have been called.
    std::string calls() const;

    std::string system;
    std::string devices;
    /// Where configfs has them.
    std::string gadgets;

private:
    void addCommand(const std::string& name, const std::string& script) const;

    std::string m_folder;
};

} // namespace pdasim::test
