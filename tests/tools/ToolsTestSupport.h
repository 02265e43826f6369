#pragma once

#include <concepts>
#include <cstdint>
#include <filesystem>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include "InputPicture.h"
#include "Sanitizers.h"

// A separate folder for each test, which is removed with the object.
class TestFolder {
public:
    TestFolder();
    ~TestFolder();
    TestFolder(TestFolder const&) = delete;
    TestFolder& operator=(TestFolder const&) = delete;

    std::string path(std::string const& name) const { return (m_path / name).string(); }

    // The names of all files, hidden ones too, in order.
    std::vector<std::string> files() const;

private:
    std::filesystem::path m_path;
};

void writeTestFile(std::string const& path, std::string const& content);
std::string readTestFile(std::string const& path);

struct CommandResult {
    int exitCode = -1; // 128 + number of the signal if one ended the command
    std::string output;
    std::string error;
    double cpuSeconds = 0;           // of all threads
    std::uint64_t residentBytes = 0; // at most; never less than what the test itself has taken, which it starts from
};

// Expects that a command has used at most this much memory. Checks nothing with a sanitizer, which uses memory itself.
void expectMemoryBelow(std::uint64_t bytes, CommandResult const& result);

// Runs the command ravelo and waits for its end.
CommandResult runRavelo(std::vector<std::string> const& arguments, std::string const& input = "");

// The command while it runs, with its standard input and output on pipes that the test holds.
class RunningRavelo {
public:
    explicit RunningRavelo(std::vector<std::string> const& arguments);
    ~RunningRavelo();
    RunningRavelo(RunningRavelo const&) = delete;
    RunningRavelo& operator=(RunningRavelo const&) = delete;

    void write(std::string const& input) const; // less than a pipe holds
    void send(int signal) const;

    // True when the process sleeps and stays asleep, which means that it waits for a pipe.
    bool waits() const;

    // The exit code, as in CommandResult; -1, and the end of the process, when it takes more than ten seconds.
    int finish();

private:
    int m_child = -1;
    int m_input = -1;  // writing end
    int m_output = -1; // reading end, from which nothing is read
};

// Runs a line of the shell in which $RAVELO is the command.
CommandResult runShell(std::string const& line);

// Error messages are one line for people.
void expectOneLine(std::string const& error);

// A value of a report in JSON. The tests leave the JSON library to one unit, since it takes long to compile. All calls
// throw where the value is of another kind or lacks what is asked for.
class ReportValue {
public:
    explicit ReportValue(std::string const& json); // throws unless it is one JSON text

    ReportValue at(std::string const& member) const;
    ReportValue at(std::size_t index) const;
    std::vector<ReportValue> elements() const; // of an array
    std::size_t size() const;                  // elements of an array or members of an object
    bool contains(std::string const& member) const;
    bool isNull() const { return m_json == "null"; }
    double number() const;
    std::string text() const; // of a string
    std::string const& json() const { return m_json; }

    bool operator==(std::string const& expected) const { return text() == expected; }
    bool operator==(std::same_as<bool> auto expected) const { return m_json == (expected ? "true" : "false"); }
    template <typename Number>
    requires(std::is_arithmetic_v<Number> && !std::same_as<Number, bool>) bool operator==(Number expected) const {
        return number() == static_cast<double>(expected);
    }

    friend void PrintTo(ReportValue const& value, std::ostream* stream) { *stream << value.m_json; }

private:
    std::string m_json;
};

// The value at a pointer such as "/frames/0/width" of a JSON text, as JSON; "nothing" where there is none.
std::string jsonAt(std::string const& text, std::string const& pointer);
double jsonNumberAt(std::string const& text, std::string const& pointer);
std::size_t jsonSizeAt(std::string const& text, std::string const& pointer); // elements of an array or object
// The numbers of these members in every element of an array; those that are missing count as 0.
std::vector<std::vector<double>> jsonTableAt(std::string const& text, std::string const& pointer,
                                             std::vector<std::string> const& members);

// A frame with known output.
std::string vectorPath(std::string const& name);

// A PPM with a smooth pattern in which no two corners are alike.
std::string smoothPpm(std::uint32_t width, std::uint32_t height);

// The same as PAM with an alpha ramp from left to right.
std::string smoothPam(std::uint32_t width, std::uint32_t height);

// A PNG whose pixels are stored without compression. `rows` are the bytes of all lines, without filter bytes.
std::string plainPng(std::uint32_t width, std::uint32_t height, std::uint8_t bitDepth, std::uint8_t colorType,
                     std::string const& rows);

// One chunk of a PNG file, with its length and checksum.
std::string pngChunk(std::string const& type, std::string const& data);

// Turns an `encode` of smoothPpm() into the frame at `path`; `options` are options of the command.
void encodeSmooth(TestFolder const& folder, std::string const& frameName, std::uint32_t width, std::uint32_t height,
                  std::vector<std::string> const& options = {});

// The only picture of a file's content, read by the command's own readers.
InputPicture pictureOf(std::string const& content);

// Takes the Y data from slices of the frame at `path`, so that they fail. They count from 0 at the first picture.
void damageSlices(std::string const& path, std::vector<std::size_t> const& slices);

std::vector<std::uint8_t> bytesOf(std::string const& content);
