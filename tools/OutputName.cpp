#include "OutputName.h"

#include <filesystem>

OutputName::OutputName(std::string const& text) : m_text(text) {
    std::error_code error;
    m_isFolder = text.ends_with('/') || std::filesystem::is_directory(text, error);
    if (!m_isFolder && text != "-")
        m_pattern = SequencePattern::parse(text);
}

std::string OutputName::pathFor(std::string const& sourcePath, std::uint64_t number,
                                std::string const& extension) const {
    if (m_pattern)
        return m_pattern->nameOf(number);
    if (!m_isFolder)
        return m_text;
    const std::string stem = sourcePath == "-" ? "frame" : std::filesystem::path(sourcePath).stem().string();
    return (std::filesystem::path(m_text) / (stem + "." + extension)).string();
}
