// Frames with alpha beside the same frames without.

#include <cstdint>
#include <string>
#include <vector>

#include "BenchFrames.h"
#include "Comparison.h"
#include "ComparisonParts.h"
#include "FrameEncoder.h"
#include "Matte.h"
#include "RoundValues.h"

namespace {

constexpr Matte kMattes[] = {{"opaque", 0, false}, {"grain of 1 %", 0.01, false}};

SourcePicture pictureWithoutAlpha() {
    return benchPicture(1920, 1080, ChromaFormat::C444);
}

// The index that meets the rate. With it both frames have the same colour, bit for bit, whatever alpha takes.
EncoderSettings settingsFor(SourcePicture const& picture) {
    EncoderSettings settings;
    settings.bitsPerPixel = 3.5;
    const std::uint32_t index = encodeFrame(picture, settings).quantization_index;
    settings.bitsPerPixel = 0;
    settings.quantization_index = index;
    return settings;
}

} // namespace

void compareAlpha(ComparisonOptions const& options) {
    std::vector<std::string> headings{
        "plane", "bits per pixel of colour", "bits per sample of alpha", "without alpha, clocks per pixel",
        "with",  "added, clocks per sample"};
    appendRoundHeadings(headings, "ratio");
    MarkdownTable table(headings);
    SourcePicture picture = pictureWithoutAlpha();
    const EncoderSettings settings = settingsFor(picture);
    DecodeRequest request;
    request.bitDepth = 16;
    request.colorCoding = ColorCoding_RGBFull;
    FrameDecode without(encodeFrame(picture, settings).bytes, request);
    const double numPixels = without.numPixels();
    picture.alphaBits = 16;
    for (Matte const& matte : kMattes) {
        picture.alpha = mattePlane(matte, picture.width, picture.height);
        FrameDecode with(encodeFrame(picture, settings).bytes, request);
        const ContestResult result = contest([&] { with.run(); }, [&] { without.run(); }, options.rules);
        const double clocksWithout = result.secondClocks / numPixels;
        // By the ratio, which is taken within a round, so that it varies less than the clocks.
        const double added = (result.ratios.median() - 1) * clocksWithout;
        std::vector<std::string> row{matte.name,
                                     fixed(without.bitsPerPixel(), 2),
                                     fixed(with.bitsPerPixel() - without.bitsPerPixel(), 2),
                                     fixed(clocksWithout, 1),
                                     fixed(result.firstClocks / numPixels, 1),
                                     fixed(added, 2)};
        result.ratios.appendCells(row, 2);
        table.addRow(row);
    }
    print("Alpha of 16 bits, beside the same frame without (4:4:4, RGB, 16 bits, 1080p, " +
              decoderName(request.target) + ", one thread)",
          table);
}
