#pragma once

#include <cstddef>
#include <string_view>

namespace pdasim {

/** The device behind a node, as the node sees it. Called with the lock of its port held. */
class NodeOwner {
public:
    struct WriteResult {
        int error = 0;
        std::size_t accepted = 0;
    };

    NodeOwner() = default;
    NodeOwner(const NodeOwner&) = delete;
    NodeOwner& operator=(const NodeOwner&) = delete;
    virtual ~NodeOwner() = default;

    virtual void hostOpened() = 0;
    /** A write that the kernel's rules let through. */
    virtual WriteResult hostWrote(std::string_view bytes) = 0;
    /** A write that failed before it could reach the device. */
    virtual void hostWriteFailed() = 0;
};

} // namespace pdasim
