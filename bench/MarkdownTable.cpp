#include "MarkdownTable.h"

#include <algorithm>
#include <cstdio>

std::string MarkdownTable::text() const {
    std::vector<std::size_t> widths(m_rows[0].size(), 3);
    for (auto const& row : m_rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    std::string result;
    for (std::size_t r = 0; r < m_rows.size(); ++r) {
        for (std::size_t i = 0; i < widths.size(); ++i) {
            const std::string cell = i < m_rows[r].size() ? m_rows[r][i] : "";
            result.append("| ").append(cell).append(widths[i] - cell.size() + 1, ' ');
        }
        result += "|\n";
        if (r > 0)
            continue;
        for (const std::size_t width : widths)
            result.append("|").append(width + 2, '-');
        result += "|\n";
    }
    return result;
}

std::string fixed(double value, int numDigits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", numDigits, value);
    return text;
}
