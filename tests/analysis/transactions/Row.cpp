#include "Row.h"
#include "tests/analysis/Tag.h"

#include <QString>
#include <QTextCodec>
#include <algorithm>

namespace {

std::string text(const Value& value) {
    const int* const number = std::get_if<int>(&value);
    return number != nullptr ? std::to_string(*number) : std::get<std::string>(value);
}

/// How many of a list's items are followed by ";" and not empty.
int numberOfItems(const std::string& list) {
    int items = 0;
    for (std::size_t i = 1; i < list.size(); ++i) {
        items += list[i] == ';' && list[i - 1] != ';' ? 1 : 0;
    }
    return items;
}

std::string bodyText(const Value& value, Content content) {
    if (content == Content::Gbk) {
        return QTextCodec::codecForName("GBK")
            ->fromUnicode(QString::fromLatin1(text(value).c_str()))
            .toStdString();
    }
    return text(value);
}

std::vector<std::size_t> separators(const QString& labels) {
    std::vector<std::size_t> positions;
    for (int i = 0; i < labels.size(); ++i) {
        if (labels[i] == QChar(';') || labels[i] == QChar(0xFF1B)) {
            positions.push_back(static_cast<std::size_t>(i) + 1);
        }
    }
    return positions;
}

std::string listOf(const ReplyFields& reply, const std::string& tag) {
    std::string list;
    for (const std::vector<Field>& entry : reply.entries) {
        list += ReplyFields{entry, {}}.value(tag) + ";";
    }
    return list;
}

/// Large steps first: most of a large buffer is filling.
std::string beforeFilling(const std::string& text) {
    static const std::string filling(1024, Arguments::kFilling);
    std::size_t end = text.size();
    while (end >= filling.size() && text.compare(end - filling.size(), filling.size(), filling) == 0) {
        end -= filling.size();
    }
    return end == 0 ? "" : text.substr(0, text.find_last_not_of(Arguments::kFilling, end - 1) + 1);
}

std::string outputOf(const Output& output, const ReplyFields& reply) {
    std::string value = reply.value(output.tag);
    const QString characters = QString::fromStdString(value);
    const std::vector<std::size_t> found = separators(characters);
    const std::string nul(1, '\0');
    switch (output.kind) {
    case Kind::Copied:
        return value;
    case Kind::Characters:
        return value.substr(0, static_cast<std::size_t>(characters.size()));
    case Kind::Terminated:
        return value + nul;
    case Kind::WithSuccess:
        return reply.value("Ex_RetCode") == "000000" ? value + nul : "";
    case Kind::List:
        return listOf(reply, output.tag) + nul;
    case Kind::LabelCount:
        return std::to_string(value.empty() ? 0 : found.size() + 1);
    case Kind::LabelStride:
        return std::to_string(found.empty() ? 0 : found.front());
    }
    return {};
}

} // namespace

Arguments::Arguments(const Row& row, std::size_t room)
    : m_row(&row), m_texts(row.outputs.size()), m_numbers(row.outputs.size(), kUntouched) {
    for (const Input& input : row.inputs) {
        m_inputs.push_back(input.sample);
    }
    for (std::size_t i = 0; i < m_texts.size(); ++i) {
        m_texts[i].assign(row.outputs[i].isNumber() ? 0 : room, kFilling);
        if (row.outputs[i].kind == Kind::List) {
            m_texts[i].front() = '\0'; // there is no text yet to append to
        }
    }
}

char* Arguments::text(std::size_t index) {
    if (index < m_inputs.size()) {
        return m_hasInputs ? std::get<std::string>(m_inputs[index]).data() : nullptr;
    }
    return m_hasOutputs ? m_texts.at(index - m_inputs.size()).data() : nullptr;
}

int* Arguments::number(std::size_t index) {
    if (index < m_inputs.size()) {
        return m_hasInputs ? &std::get<int>(m_inputs[index]) : nullptr;
    }
    return m_hasOutputs ? &m_numbers.at(index - m_inputs.size()) : nullptr;
}

std::vector<std::string> Arguments::written() const {
    std::vector<std::string> values;
    for (std::size_t i = 0; i < m_texts.size(); ++i) {
        if (m_row->outputs[i].isNumber()) {
            values.push_back(m_numbers[i] == kUntouched ? "" : std::to_string(m_numbers[i]));
        } else {
            values.push_back(beforeFilling(m_texts[i]));
        }
    }
    return values;
}

std::vector<std::string> Arguments::untouched(const Row& row) {
    std::vector<std::string> values;
    for (const Output& output : row.outputs) {
        values.push_back(output.kind == Kind::List ? std::string(1, '\0') : "");
    }
    return values;
}

std::string ReplyFields::value(const std::string& tag) const {
    const auto found =
        std::find_if(fields.begin(), fields.end(), [&tag](const Field& field) { return field.first == tag; });
    return found != fields.end() ? found->second : "";
}

void ReplyFields::remove(const std::string& tag) {
    const auto isIt = [&tag](const Field& field) { return field.first == tag; };
    fields.erase(std::remove_if(fields.begin(), fields.end(), isIt), fields.end());
}

void ReplyFields::replace(const std::string& tag, const std::string& value) {
    for (Field& field : fields) {
        field.second = field.first == tag ? value : field.second;
    }
}

ReplyFields sampleReply(const Row& row) {
    ReplyFields reply;
    for (const Output& output : row.outputs) {
        if (output.kind != Kind::List) {
            for (const std::string& sample : output.samples) {
                reply.fields.emplace_back(output.tag, sample);
            }
            continue;
        }
        reply.entries.resize(output.samples.size());
        for (std::size_t i = 0; i < output.samples.size(); ++i) {
            reply.entries[i].emplace_back(output.tag, output.samples[i]);
        }
    }
    return reply;
}

std::vector<std::string> outputsOf(const Row& row, const ReplyFields& reply) {
    std::vector<std::string> values;
    for (const Output& output : row.outputs) {
        values.push_back(outputOf(output, reply));
    }
    return values;
}

std::vector<std::string> outputsWithoutReply(const Row& row) {
    std::vector<std::string> values = Arguments::untouched(row);
    if (row.noData >= 0) {
        values.at(static_cast<std::size_t>(row.noData)) = "000060";
    }
    return values;
}

std::string bodyOf(const Row& row, const std::vector<Value>& inputs) {
    std::string body;
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        const std::size_t index = row.order.empty() ? i : row.order.at(i);
        const Input& input = row.inputs.at(index);
        if (input.content == Content::Counted) {
            body += tag("Ex_Total", std::to_string(numberOfItems(text(inputs[index]))));
        }
        if (!input.tag.empty()) {
            body += tag(input.tag, bodyText(inputs[index], input.content));
        }
    }
    return body;
}
