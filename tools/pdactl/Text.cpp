#include "Text.h"

#include <QString>

namespace pdactl {

std::string printable(std::string_view text) {
    QString line = QString::fromUtf8(text.data(), static_cast<int>(text.size()));
    for (QChar& character : line) {
        if (character == '\n' || character == '\r' || character == '\t') {
            character = ' ';
        } else if (character.category() == QChar::Other_Control) {
            character = QChar::ReplacementCharacter;
        }
    }
    return line.toStdString();
}

std::string shellWord(const std::string& text) {
    constexpr const char* kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789%+,-./:=@_";
    if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) {
        return text;
    }
    std::string word = "'";
    for (const char character : text) {
        word += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return word + "'";
}

} // namespace pdactl
