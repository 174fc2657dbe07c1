#include "host/exports.h"

#include <elf.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace miravex {

namespace {

/// An ELF file in memory whose structures are copied out after a check of their place.
class ElfFile {
public:
    explicit ElfFile(const std::filesystem::path& path)
        : path_(path)
    {
        std::ifstream file(path, std::ios::binary);
        bytes_.assign(std::istreambuf_iterator<char>(file), {});
        header_ = at<Elf64_Ehdr>(0);
        if (std::memcmp(header_.e_ident, ELFMAG, SELFMAG) != 0 || header_.e_ident[EI_CLASS] != ELFCLASS64)
            refuse();
    }

    template <typename Structure> [[nodiscard]] Structure at(std::size_t offset) const
    {
        Structure structure;
        if (offset > bytes_.size() || bytes_.size() - offset < sizeof structure) refuse();
        std::memcpy(&structure, bytes_.data() + offset, sizeof structure);
        return structure;
    }

    [[nodiscard]] Elf64_Shdr section(std::size_t index) const
    {
        return at<Elf64_Shdr>(header_.e_shoff + index * sizeof(Elf64_Shdr));
    }
    [[nodiscard]] std::size_t sections() const { return header_.e_shnum; }

    [[nodiscard]] std::string text(std::size_t offset) const
    {
        if (offset >= bytes_.size()) refuse();
        return { bytes_.data() + offset, strnlen(bytes_.data() + offset, bytes_.size() - offset) };
    }

private:
    [[noreturn]] void refuse() const { throw std::runtime_error(path_.string() + " is no shared library"); }

    std::filesystem::path path_;
    std::string bytes_;
    Elf64_Ehdr header_ {};
};

bool isExportedFunction(const Elf64_Sym& symbol)
{
    return ELF64_ST_TYPE(symbol.st_info) == STT_FUNC && symbol.st_shndx != SHN_UNDEF
        && ELF64_ST_BIND(symbol.st_info) != STB_LOCAL;
}

} // namespace

std::vector<std::string> exportedFunctions(const std::filesystem::path& library)
{
    const ElfFile file(library);
    std::vector<std::string> names;
    for (std::size_t i = 0; i < file.sections(); ++i) {
        const Elf64_Shdr section = file.section(i);
        if (section.sh_type != SHT_DYNSYM) continue;
        const std::size_t strings = file.section(section.sh_link).sh_offset;
        for (std::size_t at = 0; at + sizeof(Elf64_Sym) <= section.sh_size; at += sizeof(Elf64_Sym)) {
            const auto symbol = file.at<Elf64_Sym>(section.sh_offset + at);
            if (isExportedFunction(symbol)) names.push_back(file.text(strings + symbol.st_name));
        }
    }
    std::ranges::sort(names);
    return names;
}

} // namespace miravex
