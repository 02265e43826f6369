// What decodes of this library cost beside others of the same frames.

#include <cstdint>
#include <string>
#include <vector>

#include "Comparison.h"
#include "ComparisonParts.h"
#include "RoundValues.h"

namespace {

// A row of a table: the cells are what other decodes cost, as a part of one of the same frame.
class CostRow {
public:
    explicit CostRow(ContestRules const& rules) : m_rules(rules) {}

    // Adds a cell.
    void compare(FrameDecode& other, FrameDecode& whole, int numDigits) {
        const ContestResult result = contest([&] { other.run(); }, [&] { whole.run(); }, m_rules);
        m_clocksPerPixel = result.secondClocks / whole.numPixels();
        m_cells.push_back(result.ratios.cell(numDigits));
        m_counts.add(result.ratios);
    }

    // Of the decode that the others were compared with last.
    double clocksPerPixel() const { return m_clocksPerPixel; }

    // `firstCells`, those of the comparisons, and the numbers of rounds.
    std::vector<std::string> after(std::vector<std::string> firstCells) const {
        firstCells.insert(firstCells.end(), m_cells.begin(), m_cells.end());
        firstCells.push_back(m_counts.cell());
        return firstCells;
    }

private:
    ContestRules m_rules;
    double m_clocksPerPixel = 0;
    std::vector<std::string> m_cells;
    RoundCounts m_counts;
};

void compareReducedAs(ComparisonOptions const& options, std::string const& chromaFormat, std::string const& form,
                      ColorCoding colorCoding) {
    MarkdownTable table({"picture", "full, clocks per pixel", "half", "quarter", "eighth", RoundCounts::kHeading});
    for (std::string const& name : pictureNames(options, chromaFormat, "3.5")) {
        DecodeRequest request;
        request.bitDepth = 8;
        request.colorCoding = colorCoding;
        FrameDecode full(frameNamed(options, name), request);
        CostRow row(options.rules);
        for (std::uint32_t reduction = 1; reduction <= 3; ++reduction) {
            request.downSampleFactor = reduction;
            FrameDecode reduced(full.frame(), request);
            row.compare(reduced, full, 2);
        }
        table.addRow(row.after({name, fixed(row.clocksPerPixel(), 1)}));
    }
    print("Reduced sizes, as a part of the full size's cost (" + form + ", 8 bits, " +
              decoderName(OptimizationTarget::AVX2) + ", one thread)",
          table);
}

} // namespace

void compareReduced(ComparisonOptions const& options) {
    compareReducedAs(options, "422", "4:2:2", ColorCoding_YCbCr);
    compareReducedAs(options, "444", "4:4:4", ColorCoding_YCbCr);
    compareReducedAs(options, "444", "4:4:4 as RGB", ColorCoding_RGBFull);
}

void compareForms(ComparisonOptions const& options, OptimizationTarget target) {
    struct Form {
        PixelForm form;
        std::uint32_t bitDepth;
    };
    constexpr Form kForms[] = {
        {PixelForm::Rgba, 8}, {PixelForm::Rgba, 16}, {PixelForm::RgbaHalf, 16}, {PixelForm::Planar, 10}};
    MarkdownTable table({"picture", "coded, 10 bits, clocks per pixel", "RGBA, 8 bits", "RGBA, 16 bits", "RGBA, halves",
                         "planar, 10 bits", RoundCounts::kHeading});
    for (std::string const& name : pictureNames(options, "422")) {
        DecodeRequest request;
        request.target = target;
        FrameDecode coded(frameNamed(options, name), request);
        CostRow row(options.rules);
        for (Form const& form : kForms) {
            request.form = form.form;
            request.bitDepth = form.bitDepth;
            FrameDecode formed(coded.frame(), request);
            row.compare(formed, coded, 2);
        }
        table.addRow(row.after({name, fixed(row.clocksPerPixel(), 1)}));
    }
    print("Forms of the pixels, as a part of the native decode's cost (4:2:2, " + decoderName(target) + ", one thread)",
          table);
}

void compareRegions(ComparisonOptions const& options) {
    MarkdownTable table({"picture", "coded, 10 bits", "RGBA, 8 bits", RoundCounts::kHeading});
    for (std::string const& name : pictureNames(options, "422")) {
        CostRow row(options.rules);
        for (const PixelForm form : {PixelForm::Coded, PixelForm::Rgba}) {
            DecodeRequest request;
            request.form = form;
            request.bitDepth = form == PixelForm::Coded ? 10 : 8;
            FrameDecode whole(frameNamed(options, name), request);
            const std::uint32_t width = whole.width() / 8 * 2, height = whole.height() / 4;
            request.region = {width / 2 * 3 / 2 * 2, height * 3 / 2, width, height};
            FrameDecode part(whole.frame(), request);
            row.compare(part, whole, 3);
        }
        table.addRow(row.after({name}));
    }
    print("A sixteenth of the picture, as a part of the whole's cost (4:2:2, " + decoderName(OptimizationTarget::AVX2) +
              ", one thread)",
          table);
}
