#include "tests/interface/ElfFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>

namespace {

namespace fs = std::filesystem;

class LibraryFile : public testing::Test {
protected:
    const ElfFile& library() const { return m_library; }

    bool imports(const std::string& name) const {
        const std::vector<std::string>& names = library().importedNames();
        return std::find(names.begin(), names.end(), name) != names.end();
    }

private:
    ElfFile m_library{PDALINK_LIBRARY_FILE};
};

TEST_F(LibraryFile, CarriesItsVersionedName) {
    EXPECT_EQ(library().dynamicTexts(DT_SONAME), std::vector<std::string>{"libpdalink.so.1"});
}

TEST_F(LibraryFile, StandsBesideItsLinks) {
    const fs::path file = fs::canonical(PDALINK_LIBRARY_FILE);
    EXPECT_EQ(file.parent_path().filename(), "lib");
    EXPECT_EQ(fs::canonical(file.parent_path() / "libpdalink.so.1"), file);
    EXPECT_EQ(fs::canonical(file.parent_path() / "libpdalink.so"), file);
}

TEST_F(LibraryFile, NeedsOnlyQtUdevAndTheSystem) {
    const std::set<std::string> allowed = {"libQt5Core.so.5",      "libudev.so.1",    "libc.so.6",
                                           "libstdc++.so.6",       "libm.so.6",       "libgcc_s.so.1",
                                           "libdl.so.2",           "libpthread.so.0", "ld-linux-x86-64.so.2",
                                           "ld-linux-aarch64.so.1"};
    for (const std::string& needed : library().dynamicTexts(DT_NEEDED)) {
        EXPECT_TRUE(allowed.count(needed) == 1 ||
                    (PDALINK_IS_SANITIZED && needed.find("san.so") != std::string::npos))
            << needed;
    }
    const std::vector<std::string> needed = library().dynamicTexts(DT_NEEDED);
    EXPECT_EQ(std::count(needed.begin(), needed.end(), "libQt5Core.so.5"), 1);
    EXPECT_EQ(std::count(needed.begin(), needed.end(), "libudev.so.1"), 1);
}

TEST_F(LibraryFile, HasNoExecutableStackAndNoWritableCode) {
    const auto stacks = library().programHeaders(PT_GNU_STACK);
    ASSERT_EQ(stacks.size(), 1U);
    EXPECT_EQ(stacks.front().p_flags & PF_X, 0U);
    for (const auto& segment : library().programHeaders(PT_LOAD)) {
        EXPECT_FALSE((segment.p_flags & PF_W) != 0 && (segment.p_flags & PF_X) != 0);
    }
    EXPECT_FALSE(library().hasDynamicEntry(DT_TEXTREL));
}

TEST_F(LibraryFile, IsFullyRelocatedAtLoadAndReadOnlyAfterwards) {
    EXPECT_EQ(library().programHeaders(PT_GNU_RELRO).size(), 1U);
    const bool bindsNow = (library().dynamicNumber(DT_FLAGS) & DF_BIND_NOW) != 0 ||
                          (library().dynamicNumber(DT_FLAGS_1) & DF_1_NOW) != 0 ||
                          library().hasDynamicEntry(DT_BIND_NOW);
    EXPECT_TRUE(bindsNow);
}

TEST_F(LibraryFile, GuardsItsStack) {
    EXPECT_TRUE(imports("__stack_chk_fail"));
}

#ifdef __x86_64__
TEST_F(LibraryFile, BeginsItsFunctionsWithATargetForIndirectBranches) {
    const std::string endbr64 = "\xf3\x0f\x1e\xfa";
    int functions = 0;
    for (const ElfFile::Symbol& symbol : library().exportedSymbols()) {
        if (symbol.type == STT_FUNC) {
            ++functions;
            EXPECT_EQ(library().codeOf(symbol).substr(0, endbr64.size()), endbr64) << symbol.name;
        }
    }
    EXPECT_GT(functions, 0);
}
#endif

TEST_F(LibraryFile, UsesCheckedFormattingInReleaseBuildsOnly) {
    const std::vector<std::string>& names = library().importedNames();
    const bool checked = std::any_of(names.begin(), names.end(), [](const std::string& name) {
        return name.size() > 6 && name.compare(name.size() - 4, 4, "_chk") == 0;
    });
    EXPECT_EQ(checked, PDALINK_IS_RELEASE);
}

TEST_F(LibraryFile, KeepsNoSearchPathOfTheBuildMachineAndCanBeUnloaded) {
    EXPECT_EQ(library().dynamicTexts(DT_RPATH), std::vector<std::string>());
    EXPECT_EQ(library().dynamicTexts(DT_RUNPATH), std::vector<std::string>());
    EXPECT_EQ(library().dynamicNumber(DT_FLAGS_1) & DF_1_NODELETE, 0U) << "it can be unloaded";
}

} // namespace
