#include "ToolsTestSupport.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Checksum.h"
#include "FrameParts.h"
#include "PictureReader.h"

TestFolder::TestFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "ravelo-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("cannot make a folder for the test");
    m_path = name;
}

TestFolder::~TestFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::vector<std::string> TestFolder::files() const {
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(m_path))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

void writeTestFile(std::string const& path, std::string const& content) {
    std::ofstream(path, std::ios::binary).write(content.data(), static_cast<std::streamsize>(content.size()));
}

std::string readTestFile(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

namespace {

[[noreturn]] void execute(std::vector<std::string> const& command) {
    std::vector<char*> arguments;
    for (std::string const& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    ::execvp(arguments[0], arguments.data());
    ::_exit(127);
}

// Becomes the command in the child, with its three streams on files, so that no pipe can run full.
[[noreturn]] void becomeCommand(std::vector<std::string> const& command, TestFolder const& streams) {
    const auto redirect = [](std::string const& path, int flags, int descriptor) {
        const int file = ::open(path.c_str(), flags, 0600);
        if (file < 0 || ::dup2(file, descriptor) < 0)
            ::_exit(127);
    };
    redirect(streams.path("input"), O_RDONLY, STDIN_FILENO);
    redirect(streams.path("output"), O_WRONLY | O_CREAT, STDOUT_FILENO);
    redirect(streams.path("error"), O_WRONLY | O_CREAT, STDERR_FILENO);
    execute(command);
}

CommandResult run(std::vector<std::string> const& command, std::string const& input) {
    const TestFolder streams;
    writeTestFile(streams.path("input"), input);
    const pid_t child = ::fork();
    if (child == 0)
        becomeCommand(command, streams);
    int status = 0;
    struct rusage usage = {};
    if (child < 0 || ::wait4(child, &status, 0, &usage) != child)
        throw std::runtime_error("cannot run the command");
    CommandResult result;
    for (const struct timeval time : {usage.ru_utime, usage.ru_stime})
        result.cpuSeconds += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    result.residentBytes = 1024 * static_cast<std::uint64_t>(usage.ru_maxrss);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.output = readTestFile(streams.path("output"));
    result.error = readTestFile(streams.path("error"));
    return result;
}

} // namespace

CommandResult runRavelo(std::vector<std::string> const& arguments, std::string const& input) {
    std::vector<std::string> command = {RAVELO_COMMAND};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run(command, input);
}

RunningRavelo::RunningRavelo(std::vector<std::string> const& arguments) {
    int input[2];
    int output[2];
    if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0)
        throw std::runtime_error("cannot make a pipe");
    std::vector<std::string> command = {RAVELO_COMMAND};
    command.insert(command.end(), arguments.begin(), arguments.end());
    m_child = ::fork();
    if (m_child == 0) {
        const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        // The tests may run under nohup, and the command would inherit that.
        ::signal(SIGHUP, SIG_DFL);
        ::dup2(input[0], STDIN_FILENO);
        ::dup2(output[1], STDOUT_FILENO);
        ::dup2(nowhere, STDERR_FILENO);
        execute(command);
    }
    ::close(input[0]);
    ::close(output[1]);
    m_input = input[1];
    m_output = output[0];
}

RunningRavelo::~RunningRavelo() {
    if (m_child > 0) {
        ::kill(m_child, SIGKILL);
        ::waitpid(m_child, nullptr, 0);
    }
    ::close(m_input);
    ::close(m_output);
}

void RunningRavelo::write(std::string const& input) const {
    if (::write(m_input, input.data(), input.size()) != static_cast<ssize_t>(input.size()))
        throw std::runtime_error("cannot write to the command");
}

void RunningRavelo::send(int signal) const {
    ::kill(m_child, signal);
}

bool RunningRavelo::waits() const {
    int sleeping = 0;
    for (int i = 0; i < 6000 && sleeping < 30; ++i) {
        // The third field of the line is the state; the second is a name in parentheses.
        const std::string line = readTestFile(fmt::format("/proc/{}/stat", m_child));
        const std::size_t name = line.rfind(')');
        sleeping = name != std::string::npos && line.at(name + 2) == 'S' ? sleeping + 1 : 0;
        ::usleep(10000);
    }
    return sleeping == 30;
}

int RunningRavelo::finish() {
    for (int i = 0; i < 1000; ++i) {
        int status = 0;
        if (::waitpid(m_child, &status, WNOHANG) == m_child) {
            m_child = -1;
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        ::usleep(10000);
    }
    return -1;
}

CommandResult runShell(std::string const& line) {
    return run({"bash", "-c", fmt::format("RAVELO='{}'; {}", RAVELO_COMMAND, line)}, "");
}

void expectMemoryBelow(std::uint64_t bytes, CommandResult const& result) {
    struct rusage own = {};
    ::getrusage(RUSAGE_SELF, &own);
    if (!kHasSanitizer) {
        EXPECT_LE(result.residentBytes, std::max(bytes, 1024 * static_cast<std::uint64_t>(own.ru_maxrss)));
    }
}

void expectOneLine(std::string const& error) {
    EXPECT_TRUE(error.starts_with("ravelo: ")) << error;
    EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 1) << error;
    EXPECT_TRUE(error.ends_with('\n')) << error;
}

namespace {

// Null where the text has no such value.
nlohmann::json valueAt(std::string const& text, std::string const& pointer) {
    const nlohmann::json document = nlohmann::json::parse(text, nullptr, false);
    if (document.is_discarded())
        throw std::runtime_error("no JSON: " + text);
    return document.value(nlohmann::json::json_pointer(pointer), nlohmann::json(nlohmann::json::value_t::discarded));
}

} // namespace

ReportValue::ReportValue(std::string const& json) : m_json(nlohmann::json::parse(json).dump()) {}

ReportValue ReportValue::at(std::string const& member) const {
    return ReportValue(nlohmann::json::parse(m_json).at(member).dump());
}

ReportValue ReportValue::at(std::size_t index) const {
    return ReportValue(nlohmann::json::parse(m_json).at(index).dump());
}

std::vector<ReportValue> ReportValue::elements() const {
    const nlohmann::json array = nlohmann::json::parse(m_json);
    if (!array.is_array())
        throw std::runtime_error("not an array: " + m_json);
    std::vector<ReportValue> values;
    for (nlohmann::json const& element : array)
        values.emplace_back(element.dump());
    return values;
}

std::size_t ReportValue::size() const {
    return nlohmann::json::parse(m_json).size();
}

bool ReportValue::contains(std::string const& member) const {
    return nlohmann::json::parse(m_json).contains(member);
}

double ReportValue::number() const {
    const nlohmann::json value = nlohmann::json::parse(m_json);
    if (!value.is_number())
        throw std::runtime_error("not a number: " + m_json);
    return value.get<double>();
}

std::string ReportValue::text() const {
    return nlohmann::json::parse(m_json).get<std::string>();
}

std::string jsonAt(std::string const& text, std::string const& pointer) {
    const nlohmann::json value = valueAt(text, pointer);
    return value.is_discarded() ? "nothing" : value.dump();
}

double jsonNumberAt(std::string const& text, std::string const& pointer) {
    return valueAt(text, pointer).get<double>();
}

std::vector<std::vector<double>> jsonTableAt(std::string const& text, std::string const& pointer,
                                             std::vector<std::string> const& members) {
    std::vector<std::vector<double>> rows;
    for (nlohmann::json const& element : valueAt(text, pointer)) {
        std::vector<double>& row = rows.emplace_back();
        for (std::string const& member : members)
            row.push_back(element.value(member, 0.0));
    }
    return rows;
}

std::size_t jsonSizeAt(std::string const& text, std::string const& pointer) {
    return valueAt(text, pointer).size();
}

std::string vectorPath(std::string const& name) {
    return std::string(RAVELO_TEST_DATA_DIR) + "/vectors/" + name;
}

namespace {

// Smooth enough that hardly anything is lost in a frame.
std::uint32_t smoothSample(std::uint32_t x, std::uint32_t y, std::uint32_t channel) {
    switch (channel) {
    case 0:
        return 40 + (x * 2) % 160;
    case 1:
        return 60 + (y * 3) % 120;
    default:
        return 80 + (x + y) % 100;
    }
}

std::string smoothSamples(std::uint32_t width, std::uint32_t height, bool withAlpha) {
    std::string samples;
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            for (std::uint32_t channel = 0; channel < 3; ++channel)
                samples.push_back(static_cast<char>(smoothSample(x, y, channel)));
            if (withAlpha)
                samples.push_back(static_cast<char>(width == 1 ? 255 : 255 * x / (width - 1)));
        }
    }
    return samples;
}

std::string bigEndian(std::uint32_t value) {
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
            static_cast<char>(value)};
}

// A zlib stream of one stored block, which holds up to 65,535 bytes.
std::string storedZlib(std::string const& data) {
    std::uint32_t a = 1;
    std::uint32_t b = 0;
    for (const char c : data) {
        a = (a + static_cast<std::uint8_t>(c)) % 65521;
        b = (b + a) % 65521;
    }
    const auto size = static_cast<std::uint32_t>(data.size());
    std::string stream = {0x78, 0x01, 0x01};
    for (const std::uint32_t value : {size, ~size}) {
        stream.push_back(static_cast<char>(value));
        stream.push_back(static_cast<char>(value >> 8));
    }
    return stream + data + bigEndian((b << 16) | a);
}

} // namespace

std::string smoothPpm(std::uint32_t width, std::uint32_t height) {
    return fmt::format("P6\n{} {}\n255\n", width, height) + smoothSamples(width, height, false);
}

std::string smoothPam(std::uint32_t width, std::uint32_t height) {
    return fmt::format("P7\nWIDTH {}\nHEIGHT {}\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n", width, height) +
           smoothSamples(width, height, true);
}

std::string pngChunk(std::string const& type, std::string const& data) {
    const std::string checked = type + data;
    const std::uint32_t crc = crc32Of(reinterpret_cast<const std::uint8_t*>(checked.data()), checked.size());
    return bigEndian(static_cast<std::uint32_t>(data.size())) + checked + bigEndian(crc);
}

std::string plainPng(std::uint32_t width, std::uint32_t height, std::uint8_t bitDepth, std::uint8_t colorType,
                     std::string const& rows) {
    std::string filtered;
    const std::size_t rowBytes = height == 0 ? 0 : rows.size() / height;
    for (std::size_t y = 0; y < height; ++y)
        filtered += '\0' + rows.substr(y * rowBytes, rowBytes);
    const std::string header = bigEndian(width) + bigEndian(height) + static_cast<char>(bitDepth) +
                               static_cast<char>(colorType) + std::string(3, '\0');
    return "\x89PNG\r\n\x1A\n" + pngChunk("IHDR", header) + pngChunk("IDAT", storedZlib(filtered)) +
           pngChunk("IEND", "");
}

void encodeSmooth(TestFolder const& folder, std::string const& frameName, std::uint32_t width, std::uint32_t height,
                  std::vector<std::string> const& options) {
    std::vector<std::string> arguments = {"encode", "-", "-o", folder.path(frameName)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const CommandResult result = runRavelo(arguments, smoothPpm(width, height));
    ASSERT_EQ(result.exitCode, 0) << result.error;
}

InputPicture pictureOf(std::string const& content) {
    InputFile file("test", bytesOf(content));
    const std::unique_ptr<PictureReader> reader = makePictureReader(file);
    return reader->next().value();
}

void damageSlices(std::string const& path, std::vector<std::size_t> const& slices) {
    std::string content = readTestFile(path);
    const std::vector<std::uint8_t> frame = bytesOf(content);
    const FrameHeader header = parseFrameHeader(frame);
    std::vector<CodedSlice> headers;
    for (CodedPicture const& picture : parsePictureHeaders(frame, header))
        for (CodedSlice const& slice : parseSliceHeaders(frame, header, picture))
            headers.push_back(slice);
    for (const std::size_t slice : slices)
        content.replace(headers.at(slice).offset + 2, 2, 2, '\0');
    writeTestFile(path, content);
}

std::vector<std::uint8_t> bytesOf(std::string const& content) {
    return {content.begin(), content.end()};
}
