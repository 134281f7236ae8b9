#pragma once

#include <cstddef>
#include <string>

namespace pdasim {

/** A vendor-defined HID device: so many bytes in, as many out, no report ids. */
std::string reportDescriptor(std::size_t reportSize);

} // namespace pdasim
