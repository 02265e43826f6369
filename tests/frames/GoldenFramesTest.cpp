#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "DecodeCheck.h"
#include "GoldenManifest.h"
#include "VectorManifest.h"

// Frames of the encoder whose output is on record. tests/data/README.md says how to make the record again when a change
// of the output is meant.

namespace {

const char* const kFolder = RAVELO_TEST_DATA_DIR "/golden";

std::vector<std::string> recordedLines() {
    std::ifstream file(std::string(kFolder) + "/manifest.txt");
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line[0] != '#')
            lines.push_back(line);
    }
    return lines;
}

} // namespace

TEST(GoldenFramesTest, EveryFormOfOutputIsAsRecorded) {
    std::vector<std::string> expected = recordedLines();
    if (runnableTargets().size() == 1)
        std::erase_if(expected, [](std::string const& line) { return line.find(" AVX2 ") != std::string::npos; });
    const std::vector<std::string> actual = goldenManifest(kFolder);
    ASSERT_GT(actual.size(), 100u);
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i)
        EXPECT_EQ(actual[i], expected[i]);
}

TEST(GoldenFramesTest, EveryFormEqualsTheModel) {
    std::set<std::string> names;
    for (std::string const& line : recordedLines())
        names.insert(line.substr(0, line.find(' ')));
    for (std::string const& name : names) {
        const std::vector<std::uint8_t> frame = readTestData("golden/" + name + ".rvl");
        for (DecodeRequest request : goldenForms(frame)) {
            request.lineStride = safeStride(frame, request);
            EXPECT_TRUE(decodesLikeModel(frame, request)) << name;
        }
    }
}
