#include "node/FileDescriptor.h"

#include <cerrno>
#include <system_error>

namespace pdasim {

void throwSystemError(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace pdasim
