#pragma once

#include <string>
#include <utility>
#include <vector>

// A table that reads well both on a terminal and as Markdown.
class MarkdownTable {
public:
    explicit MarkdownTable(std::vector<std::string> headings) : m_rows{std::move(headings)} {}

    void addRow(std::vector<std::string> cells) { m_rows.push_back(std::move(cells)); }
    std::string text() const;

private:
    std::vector<std::vector<std::string>> m_rows; // the headings first
};

// A number with this many decimals.
std::string fixed(double value, int numDigits);
