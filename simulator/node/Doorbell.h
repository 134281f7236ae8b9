#pragma once

#include "node/FileDescriptor.h"

#include <string>

namespace pdasim {

/// The file that clients really open behind a node, so that poll(2) works on it.
///
/// It is a pseudo-terminal that carries no data: one byte in it makes the node readable, an empty one does
/// not, and closing the master hangs the node up for everybody who still has it open. (Unlike a real hidraw
/// file it then keeps reporting POLLIN beside POLLERR and POLLHUP; the next read gives the error all the
/// same.)
class Doorbell {
public:
    Doorbell();

    /// The path that a node has to lead to.
    const std::string& path() const { return m_path; }

    /// Makes the node readable.
    void ring();
    /// Makes the node unreadable again.
    void silence();
    void hangUp();

private:
    FileDescriptor m_master;
    FileDescriptor m_slave;
    std::string m_path;
};

} // namespace pdasim
