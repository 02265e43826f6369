#include "Report.h"

#include "OutputFile.h"

void printReport(std::string const& text) {
    OutputFile output("-", true);
    output.write(text);
    output.commit();
}

void printJson(Json const& report) {
    printReport(report.text() + "\n");
}
