#pragma once

#include <string>
#include <system_error>

namespace pdasim {

/// Something that the system refuses; the text ends with what to do about it.
class AdvisedError : public std::system_error {
public:
    AdvisedError(int error, const std::string& what, const std::string& advice)
        : std::system_error(error, std::generic_category(), what),
          m_text(std::string(std::system_error::what()) + ". " + advice) {}

    const char* what() const noexcept override { return m_text.c_str(); }

private:
    std::string m_text;
};

} // namespace pdasim
