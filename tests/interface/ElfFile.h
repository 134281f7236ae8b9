#pragma once

#include <cstdint>
#include <elf.h>
#include <link.h>
#include <string>
#include <vector>

/// What the dynamic linker sees of a shared library.
class ElfFile {
public:
    /// A symbol of the dynamic symbol table.
    struct Symbol {
        std::string name;
        std::uint64_t address;
        std::size_t size;
        int type;       ///< STT_FUNC, STT_OBJECT, ...
        int binding;    ///< STB_GLOBAL, STB_WEAK, ...
        int visibility; ///< STV_DEFAULT, ...
    };

    /// Reads the file; throws std::runtime_error when it is not an ELF file of this machine's word size.
    explicit ElfFile(const std::string& path);

    const std::vector<Symbol>& exportedSymbols() const { return m_exported; }
    const std::vector<std::string>& importedNames() const { return m_imported; }

    /// The texts of the dynamic entries of a tag such as DT_NEEDED.
    std::vector<std::string> dynamicTexts(std::int64_t tag) const;
    /// The number of the first dynamic entry of the tag, 0 when there is none.
    std::uint64_t dynamicNumber(std::int64_t tag) const;
    bool hasDynamicEntry(std::int64_t tag) const;

    /// The program headers of a type such as PT_GNU_STACK.
    std::vector<ElfW(Phdr)> programHeaders(std::uint32_t type) const;

    /// The machine code of an exported function.
    std::string codeOf(const Symbol& symbol) const;

private:
    void readDynamicSection(const ElfW(Shdr) & section);
    void readSymbols(const ElfW(Shdr) & section);
    const ElfW(Shdr) & sectionAt(std::size_t index) const;
    std::string textAt(const ElfW(Shdr) & table, std::size_t offset) const;
    template <typename Entry>
    std::vector<Entry> entries(std::uint64_t offset, std::uint64_t bytes) const;

    std::string m_bytes;
    std::vector<ElfW(Phdr)> m_programHeaders;
    std::vector<ElfW(Shdr)> m_sections;
    std::vector<ElfW(Dyn)> m_dynamic;
    std::vector<std::string> m_dynamicTexts; ///< in step with m_dynamic; empty where the entry is no text
    std::vector<Symbol> m_exported;
    std::vector<std::string> m_imported;
};
