#include "VectorManifest.h"

#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace {

// The text after `"name":` in a line of the manifest, which has no spaces and no nested objects.
std::string fieldOf(std::string const& line, std::string const& name) {
    const std::string key = '"' + name + "\":";
    const std::size_t start = line.find(key);
    if (start == std::string::npos)
        throw std::runtime_error("manifest line without " + name);
    const std::size_t from = start + key.size();
    return line.substr(from, line.find_first_of(line[from] == '[' ? "]" : ",}", from) - from);
}

std::uint32_t numberOf(std::string const& line, std::string const& name) {
    return static_cast<std::uint32_t>(std::stoul(fieldOf(line, name)));
}

VectorRequest parseLine(std::string const& line) {
    VectorRequest vector;
    const std::string quoted = fieldOf(line, "frame");
    vector.frame = quoted.substr(1, quoted.size() - 2);
    vector.request.downSampleFactor = numberOf(line, "reduction");
    vector.request.colorCoding = numberOf(line, "coding");
    vector.request.bitDepth = numberOf(line, "depth");
    vector.request.target = static_cast<OptimizationTarget>(numberOf(line, "target"));
    vector.request.lineStride = numberOf(line, "stride");
    vector.rows = numberOf(line, "rows");
    const std::string crcs = fieldOf(line, "crc32");
    for (std::size_t at = crcs.find('"'); at != std::string::npos; at = crcs.find('"', at + 10))
        vector.crc32.push_back(static_cast<std::uint32_t>(std::stoul(crcs.substr(at + 1, 8), nullptr, 16)));
    if (vector.crc32.size() != vector.rows)
        throw std::runtime_error("manifest line with a wrong count of checksums: " + vector.describe());
    return vector;
}

} // namespace

std::string VectorRequest::describe() const {
    std::ostringstream text;
    text << frame << " reduction " << request.downSampleFactor << " coding " << request.colorCoding << " depth "
         << request.bitDepth << " target " << static_cast<int>(request.target);
    return text.str();
}

std::vector<std::uint8_t> readTestData(std::string const& relativePath) {
    std::ifstream file(RAVELO_TEST_DATA_DIR "/" + relativePath, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + relativePath);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<VectorRequest> readVectorManifest() {
    std::ifstream file(RAVELO_TEST_DATA_DIR "/vectors/manifest.jsonl");
    if (!file)
        throw std::runtime_error("cannot read the manifest of the vectors");
    std::vector<VectorRequest> vectors;
    for (std::string line; std::getline(file, line);)
        vectors.push_back(parseLine(line));
    return vectors;
}
