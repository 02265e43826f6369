#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <regex.h>

#include <gtest/gtest.h>

#include "RaveloDecoderInterface.h"

// Holds the documents against the project: the frame that the format's description decodes by hand, the names that it
// gives to things, the files that the documents speak of, and the program that the README shows.

namespace {

namespace fs = std::filesystem;

const fs::path kRoot = RAVELO_SOURCE_DIR;

std::string textOf(fs::path const& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

// The text between a heading, given by its start, and the next heading of the same level.
std::string sectionOf(std::string const& text, std::string const& heading) {
    const auto begin = text.find("\n" + heading);
    EXPECT_NE(begin, std::string::npos) << heading;
    const auto end = text.find("\n## ", begin + 1);
    return text.substr(begin, end == std::string::npos ? std::string::npos : end - begin);
}

// The lines of the fenced blocks of a text, block after block.
std::vector<std::string> fencedBlocksOf(std::string const& text) {
    std::vector<std::string> blocks;
    std::istringstream lines(text);
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("```", 0) == 0) {
            inside = !inside;
            if (inside) {
                blocks.emplace_back();
            }
        } else if (inside) {
            blocks.back() += line + "\n";
        }
    }
    return blocks;
}

// An extended regular expression of the system's library, whose header costs nothing to compile.
class Pattern {
public:
    explicit Pattern(const char* pattern) {
        if (regcomp(&m_compiled, pattern, REG_EXTENDED) != 0) {
            throw std::invalid_argument(pattern);
        }
    }
    ~Pattern() { regfree(&m_compiled); }
    Pattern(Pattern const&) = delete;
    Pattern& operator=(Pattern const&) = delete;

    bool matches(std::string const& text) const { return regexec(&m_compiled, text.c_str(), 0, nullptr, 0) == 0; }

    // The first group of every match, line by line.
    std::vector<std::string> groupsIn(std::string const& text) const {
        std::vector<std::string> found;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            regmatch_t match[2];
            for (const char* rest = line.c_str(); regexec(&m_compiled, rest, 2, match, 0) == 0;
                 rest += match[0].rm_eo) {
                found.emplace_back(rest + match[1].rm_so, rest + match[1].rm_eo);
            }
        }
        return found;
    }

private:
    regex_t m_compiled;
};

// Everything in backticks.
std::vector<std::string> quotedIn(std::string const& text) {
    static const Pattern quoted("`([^`]+)`");
    return quoted.groupsIn(text);
}

std::string exampleSection() {
    return sectionOf(textOf(kRoot / "docs/bitstream.md"), "## 14. A frame by hand");
}

// The hexadecimal bytes of the example; each line ends in a comment, two blanks away.
std::vector<std::uint8_t> exampleFrame() {
    std::vector<std::uint8_t> frame;
    std::istringstream lines(fencedBlocksOf(exampleSection()).at(0));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream bytes(line.substr(0, line.find("  ")));
        for (std::string byte; bytes >> byte;) {
            frame.push_back(static_cast<std::uint8_t>(std::stoul(byte, nullptr, 16)));
        }
    }
    return frame;
}

// The pixels that the example promises: 16 lines of Cb Y Cr Y.
std::vector<std::uint8_t> examplePixels() {
    std::istringstream codes(fencedBlocksOf(exampleSection()).at(1));
    const std::vector<int> upperLuma{std::istream_iterator<int>(codes), {}};
    EXPECT_EQ(upperLuma.size(), 16u);
    std::vector<std::uint8_t> pixels;
    for (int line = 0; line < 16; ++line) {
        for (const int luma : upperLuma) {
            pixels.push_back(128);
            pixels.push_back(static_cast<std::uint8_t>(line < 8 ? luma : 100));
        }
    }
    return pixels;
}

class ExampleFrameTest : public testing::TestWithParam<OptimizationTarget> {};

TEST_P(ExampleFrameTest, DecodesToTheCodesThatTheDescriptionWorksOut) {
    const auto frame = exampleFrame();
    ASSERT_EQ(frame.size(), 52u);
    std::vector<std::uint8_t> pixels(16 * 32, 0xA5);
    EXPECT_EQ(RaveloDecoderInterface::DecompressFrameFromBits(frame.data(), frame.size(), 0, ColorCoding_YCbCr, 8,
                                                              pixels.data(), 32, GetParam()),
              1);
    EXPECT_EQ(pixels, examplePixels());
}

std::string targetName(testing::TestParamInfo<OptimizationTarget> const& parameter) {
    return parameter.param == OptimizationTarget::Baseline ? "Baseline" : "AVX2";
}

INSTANTIATE_TEST_SUITE_P(BothTargets, ExampleFrameTest,
                         testing::Values(OptimizationTarget::Baseline, OptimizationTarget::AVX2), targetName);

TEST(ReadmeTest, TheProgramDecodesAFrame) {
    const auto frame = exampleFrame();
    const fs::path folder = fs::temp_directory_path() / ("ravelo_readme_" + std::to_string(std::random_device{}()));
    fs::create_directory(folder);
    std::ofstream(folder / "example.rvl", std::ios::binary)
        .write(reinterpret_cast<const char*>(frame.data()), static_cast<std::streamsize>(frame.size()));

    const std::string command = std::string(RAVELO_README_HOST) + " " + (folder / "example.rvl").string() + " " +
                                (folder / "example.raw").string();
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    const auto pixels = examplePixels();
    EXPECT_EQ(textOf(folder / "example.raw"), std::string(pixels.begin(), pixels.end()));

    const auto fails = [&](std::string const& arguments, std::string const& text) {
        const std::string messages = (folder / "messages").string();
        const int status = std::system((std::string(RAVELO_README_HOST) + " " + arguments + " 2>" + messages).c_str());
        EXPECT_NE(textOf(messages).find(text), std::string::npos) << textOf(messages);
        return status != 0;
    };
    const std::string raw = (folder / "none.raw").string();
    EXPECT_TRUE(fails("", "usage"));
    EXPECT_TRUE(fails((folder / "missing.rvl").string() + " " + raw, "missing.rvl cannot be read"));
    std::ofstream(folder / "short.rvl", std::ios::binary) << "short";
    EXPECT_TRUE(fails((folder / "short.rvl").string() + " " + raw, "the frame has 5 bytes"));
    std::ofstream(folder / "cut.rvl", std::ios::binary)
        .write(reinterpret_cast<const char*>(frame.data()), static_cast<std::streamsize>(frame.size() - 4));
    EXPECT_FALSE(fails((folder / "cut.rvl").string() + " " + raw, "slices failed"));
    fs::remove_all(folder);
}

// Every identifier of the sources of a folder and of the folders below.
std::set<std::string> identifiersOf(fs::path const& folder) {
    const auto belongsToOne = [](unsigned char c) { return std::isalnum(c) || c == '_'; };
    std::set<std::string> found;
    for (auto const& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.path().extension() == ".h" || entry.path().extension() == ".cpp") {
            const std::string text = textOf(entry.path());
            for (auto end = text.begin(); end != text.end();) {
                const auto begin = std::find_if(end, text.end(), belongsToOne);
                end = std::find_if_not(begin, text.end(), belongsToOne);
                found.emplace(begin, end);
            }
        }
    }
    return found;
}

TEST(BitstreamDocumentTest, EveryNameOfTheTableOfTermsIsOneOfTheDecoder) {
    const std::set<std::string> identifiers = identifiersOf(kRoot / "decoder");
    std::istringstream lines(sectionOf(textOf(kRoot / "docs/bitstream.md"), "## 1. Terms and their names"));
    int names = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("| ", 0) != 0) {
            continue;
        }
        const auto secondColumn = line.find('|', 1);
        for (auto const& name : quotedIn(line.substr(secondColumn, line.find('|', secondColumn + 1) - secondColumn))) {
            EXPECT_EQ(identifiers.count(name), 1u) << name;
            ++names;
        }
    }
    EXPECT_GT(names, 50);
}

// A path of the project, as opposed to a name, a command with arguments, a pattern or a path outside.
bool looksLikeAPath(std::string const& text) {
    static const Pattern path("^((kernels|decoder|encoder|tools|tests|fuzz|bench|examples|docs|cmake|scripts)/"
                              "[A-Za-z0-9_./-]*|[A-Za-z]+\\.(md|txt|json)|\\.[a-z]+/[a-z]+)$");
    return path.matches(text);
}

TEST(DocumentsTest, EveryFileThatTheySpeakOfExists) {
    std::vector<fs::path> documents = {kRoot / "README.md", kRoot / "CONTRIBUTING.md", kRoot / "CHANGELOG.md"};
    for (auto const& entry : fs::directory_iterator(kRoot / "docs")) {
        if (entry.is_regular_file()) {
            documents.push_back(entry.path());
        }
    }
    int paths = 0;
    for (auto const& document : documents) {
        for (auto const& name : quotedIn(textOf(document))) {
            // A command's first word is a path too.
            const std::string path = name.substr(0, name.find(' '));
            if (looksLikeAPath(path)) {
                EXPECT_TRUE(fs::exists(kRoot / path) || fs::exists(document.parent_path() / path))
                    << document << " speaks of " << path;
                ++paths;
            }
        }
    }
    EXPECT_GT(paths, 20);
}

TEST(DocumentsTest, EveryLinkLeadsToAFile) {
    static const Pattern link("\\]\\(([^)#:]+)(#[^)]*)?\\)");
    int links = 0;
    for (auto const& document : {kRoot / "README.md", kRoot / "CONTRIBUTING.md", kRoot / "docs/architecture.md"}) {
        for (auto const& target : link.groupsIn(textOf(document))) {
            EXPECT_TRUE(fs::exists(document.parent_path() / target)) << document << ": " << target;
            ++links;
        }
    }
    EXPECT_GT(links, 5);
}

} // namespace
