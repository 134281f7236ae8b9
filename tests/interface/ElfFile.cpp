#include "tests/interface/ElfFile.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace {

std::string readBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool isText(std::int64_t tag) {
    return tag == DT_NEEDED || tag == DT_SONAME || tag == DT_RPATH || tag == DT_RUNPATH;
}

} // namespace

template <typename Entry>
std::vector<Entry> ElfFile::entries(std::uint64_t offset, std::uint64_t bytes) const {
    if (offset > m_bytes.size() || bytes > m_bytes.size() - offset) {
        throw std::runtime_error("truncated ELF file");
    }
    std::vector<Entry> result(bytes / sizeof(Entry));
    std::memcpy(result.data(), m_bytes.data() + offset, result.size() * sizeof(Entry));
    return result;
}

ElfFile::ElfFile(const std::string& path) : m_bytes(readBytes(path)) {
    const ElfW(Ehdr) header = entries<ElfW(Ehdr)>(0, sizeof(ElfW(Ehdr))).front();
    if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_ident[EI_CLASS] != (sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32)) {
        throw std::runtime_error("no ELF file of this word size: " + path);
    }
    m_programHeaders = entries<ElfW(Phdr)>(header.e_phoff, header.e_phnum * sizeof(ElfW(Phdr)));
    m_sections = entries<ElfW(Shdr)>(header.e_shoff, header.e_shnum * sizeof(ElfW(Shdr)));
    for (const ElfW(Shdr) & section : m_sections) {
        if (section.sh_type == SHT_DYNAMIC) {
            readDynamicSection(section);
        } else if (section.sh_type == SHT_DYNSYM) {
            readSymbols(section);
        }
    }
}

std::vector<std::string> ElfFile::dynamicTexts(std::int64_t tag) const {
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < m_dynamic.size(); ++i) {
        if (m_dynamic[i].d_tag == tag) {
            texts.push_back(m_dynamicTexts[i]);
        }
    }
    return texts;
}

std::uint64_t ElfFile::dynamicNumber(std::int64_t tag) const {
    const auto found = std::find_if(m_dynamic.begin(), m_dynamic.end(),
                                    [tag](const ElfW(Dyn) & entry) { return entry.d_tag == tag; });
    return found != m_dynamic.end() ? found->d_un.d_val : 0;
}

bool ElfFile::hasDynamicEntry(std::int64_t tag) const {
    return std::any_of(m_dynamic.begin(), m_dynamic.end(),
                       [tag](const ElfW(Dyn) & entry) { return entry.d_tag == tag; });
}

std::vector<ElfW(Phdr)> ElfFile::programHeaders(std::uint32_t type) const {
    std::vector<ElfW(Phdr)> found;
    std::copy_if(m_programHeaders.begin(), m_programHeaders.end(), std::back_inserter(found),
                 [type](const ElfW(Phdr) & header) { return header.p_type == type; });
    return found;
}

std::string ElfFile::codeOf(const Symbol& symbol) const {
    for (const ElfW(Phdr) & segment : programHeaders(PT_LOAD)) {
        if (symbol.address >= segment.p_vaddr && symbol.address - segment.p_vaddr < segment.p_filesz) {
            return m_bytes.substr(segment.p_offset + (symbol.address - segment.p_vaddr), symbol.size);
        }
    }
    return {};
}

void ElfFile::readDynamicSection(const ElfW(Shdr) & section) {
    m_dynamic = entries<ElfW(Dyn)>(section.sh_offset, section.sh_size);
    const ElfW(Shdr)& strings = sectionAt(section.sh_link);
    for (const ElfW(Dyn) & entry : m_dynamic) {
        m_dynamicTexts.push_back(isText(entry.d_tag) ? textAt(strings, entry.d_un.d_val) : std::string());
    }
}

void ElfFile::readSymbols(const ElfW(Shdr) & section) {
    const ElfW(Shdr)& strings = sectionAt(section.sh_link);
    for (const ElfW(Sym) & symbol : entries<ElfW(Sym)>(section.sh_offset, section.sh_size)) {
        const std::string name = textAt(strings, symbol.st_name);
        if (name.empty()) {
            continue;
        }
        if (symbol.st_shndx == SHN_UNDEF) {
            m_imported.push_back(name);
        } else {
            m_exported.push_back({name, symbol.st_value, symbol.st_size, ELF64_ST_TYPE(symbol.st_info),
                                  ELF64_ST_BIND(symbol.st_info), ELF64_ST_VISIBILITY(symbol.st_other)});
        }
    }
}

const ElfW(Shdr) & ElfFile::sectionAt(std::size_t index) const {
    return m_sections.at(index);
}

std::string ElfFile::textAt(const ElfW(Shdr) & table, std::size_t offset) const {
    return m_bytes.c_str() + table.sh_offset + offset;
}
