#include "util/ErrorText.h"

#include <clocale>
#include <cstring>

std::string pdalink::errorText(int error) {
    locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    if (plain == nullptr) {
        return std::to_string(error);
    }
    std::string text = strerror_l(error, plain);
    freelocale(plain);
    return text;
}
