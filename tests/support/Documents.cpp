#include "Documents.h"

#include <gtest/gtest.h>

#include <QJsonDocument>

#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace pdalink::test {

void collectDocument(const std::string& schema, const std::string& document) {
    const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
    const QByteArray line =
        QJsonDocument::fromJson(QByteArray::fromStdString(document)).toJson(QJsonDocument::Compact);
    std::error_code existing;
    std::filesystem::create_directories(PDALINK_DOCUMENTS, existing);
    std::ofstream(PDALINK_DOCUMENTS "/" + std::to_string(::getpid()), std::ios::app)
        << schema << '\t' << test->test_suite_name() << '.' << test->name() << '\t'
        << (line.isEmpty() ? document : line.toStdString()) << '\n';
}

} // namespace pdalink::test
