// What is compared with libjpeg-turbo.

#include <string>
#include <vector>

#include "Comparison.h"
#include "ComparisonParts.h"
#include "Files.h"
#include "FrameScan.h"
#include "PeerDecode.h"
#include "RoundValues.h"

namespace {

PeerDecode peerNamed(ComparisonOptions const& options, std::string const& name) {
    return PeerDecode(readFile(options.folder / (name + ".jpg")));
}

MarkdownTable ratioTable() {
    std::vector<std::string> headings{"picture", "bits per pixel", "JPEG", "libjpeg-turbo, clocks per pixel",
                                      "ours, clocks per pixel"};
    appendRoundHeadings(headings, "ratio");
    return MarkdownTable(headings);
}

void addContest(MarkdownTable& table, std::string const& name, double bitsPerPixel, double peerBitsPerPixel,
                ContestResult const& result, double numPixels) {
    std::vector<std::string> row{name, fixed(bitsPerPixel, 2), fixed(peerBitsPerPixel, 2),
                                 fixed(result.firstClocks / numPixels, 1), fixed(result.secondClocks / numPixels, 1)};
    result.ratios.appendCells(row, 2);
    table.addRow(row);
}

} // namespace

void compareFrames(ComparisonOptions const& options, PeerContest const& peerContest) {
    MarkdownTable table = ratioTable();
    for (std::string const& name : pictureNames(options, peerContest.chromaFormat)) {
        PeerDecode peer = peerNamed(options, name);
        FrameDecode ours(frameNamed(options, name), peerContest.request);
        const ContestResult result =
            contest([&] { (peer.*peerContest.peerDecode)(); }, [&] { ours.run(); }, options.rules);
        addContest(table, name, ours.bitsPerPixel(), peer.bitsPerPixel(), result, ours.numPixels());
    }
    print(peerContest.form + ", " + decoderName(peerContest.request.target) + ", against " + peerContest.peerForm +
              " (one thread)",
          table);
}

void compareEntropy(ComparisonOptions const& options) {
    MarkdownTable table = ratioTable();
    MarkdownTable detail({"picture", "coefficients per pixel", "bits per coefficient", "clocks per coefficient"});
    for (std::string const& name : pictureNames(options, "422")) {
        PeerDecode peer = peerNamed(options, name);
        FrameScan ours(frameNamed(options, name));
        const ContestResult result =
            contest([&] { peer.toCoefficients(); }, [&] { ours.scanAll<OptimizationTarget::AVX2>(); }, options.rules);
        const auto numPixels = static_cast<double>(ours.numPixels());
        const auto numCoefficients = static_cast<double>(ours.numCoefficients());
        const auto numBits = static_cast<double>(ours.numBits());
        addContest(table, name, numBits / numPixels, peer.bitsPerPixel(), result, numPixels);
        detail.addRow({name, fixed(numCoefficients / numPixels, 3), fixed(numBits / numCoefficients, 2),
                       fixed(result.secondClocks / numCoefficients, 2)});
    }
    const std::string decoder = decoderName(OptimizationTarget::AVX2);
    print("Entropy decoding alone, " + decoder + ", against jpeg_read_coefficients (4:2:2, one thread)", table);
    print("Entropy decoding by coefficient, " + decoder, detail);
}
