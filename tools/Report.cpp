#include "Report.h"

#include <utility>

#include "OutputFile.h"
#include "Printable.h"

void printReport(std::string const& text) {
    OutputFile output("-", true);
    output.write(text);
    output.commit();
}

void printJson(Json const& report) {
    printReport(report.text() + "\n");
}

std::string csvLine(std::vector<std::string> const& values) {
    std::string line;
    bool isFirst = true;
    for (std::string const& value : values) {
        const std::string text = printable(value);
        line += std::exchange(isFirst, false) ? "" : ",";
        if (text.find_first_of(",\"") == std::string::npos) {
            line += text;
            continue;
        }
        line += '"';
        for (const char character : text)
            line += character == '"' ? "\"\"" : std::string(1, character);
        line += '"';
    }
    return line + "\n";
}
