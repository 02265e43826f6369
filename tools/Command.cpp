#include "Command.h"

#include <charconv>

#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>

#include "OutputFile.h"
#include "RaveloDecoderInterface.h"

void addAllCommands(CLI::App& app, Invocation& invocation) {
    app.require_subcommand(1);
    addInfoCommand(app, invocation);
    addDecodeCommand(app, invocation);
    addEncodeCommand(app, invocation);
    addVerifyCommand(app, invocation);
    addInspectCommand(app, invocation);
    addCompareCommand(app, invocation);
    addBenchCommand(app, invocation);
    addCompletionCommand(app, invocation);
    addManCommand(app, invocation);
}

void addVerbosityOptions(CLI::App& command, Verbosity& verbosity) {
    command.add_flag("-q,--quiet", verbosity.quiet, "no warnings and no progress");
    command.add_flag("-v,--verbose", verbosity.verbose, "a line for each file that is done");
}

void addForceOption(CLI::App& command, bool& force) {
    command.add_flag("-f,--force", force, "overwrite files that exist");
}

void addMaxPixelsOption(CLI::App& command, std::uint64_t& maxPixels) {
    command.add_option("--max-pixels", maxPixels, "refuse frames of more pixels; 0 lifts the limit")
        ->type_name("N")
        ->capture_default_str();
}

void addThreadsOption(CLI::App& command, std::size_t& threads) {
    command.add_option("--threads", threads, "most threads; 0 for all that the machine has")
        ->type_name("N")
        ->check(CLI::Range(0, 1024))
        ->capture_default_str();
}

void addInFlightOption(CLI::App& command, std::size_t& inFlight) {
    command.add_option("--in-flight", inFlight, "most frames under way at once; 0 lets the command choose")
        ->type_name("N")
        ->check(CLI::Range(0, 1024))
        ->capture_default_str();
}

void addJsonOption(CLI::App& command, bool& json) {
    command.add_flag("--json", json, "report in JSON");
}

void addFramesArgument(CLI::App& command, std::vector<std::string>& frames, std::string& numbers) {
    command.add_option("frames", frames, "frames, or sequences such as shot.####.rvl; - for standard input")
        ->type_name("FRAME")
        ->required();
    command.add_option("--frames", numbers, "numbers of a sequence, such as 1-100x2")->type_name("LIST");
}

void addFailedSlicesOptions(CLI::App& command, DecodeOptions& options) {
    command.add_option("--failed", options.failed, "what becomes of slices that fail; left means samples of 0")
        ->type_name("WHAT")
        ->check(CLI::IsMember({"black", "marked", "left"}))
        ->capture_default_str();
    command.add_option("--mark-color", options.markColor, "colour for --failed marked, as six hexadecimal digits")
        ->type_name("RRGGBB")
        ->capture_default_str();
}

void addDecodeOptions(CLI::App& command, DecodeOptions& options) {
    command.add_option("--size", options.size, "size of the decoded picture; all but full come in 8 bits")
        ->type_name("SIZE")
        ->check(CLI::IsMember({"full", "half", "quarter", "eighth"}))
        ->capture_default_str();
    command.add_option("--depth", options.bitDepth, "bits of a sample of the output")
        ->type_name("BITS")
        ->check(CLI::IsMember({8, 10, 15, 16}));
    command.add_option("--coding", options.coding, "what the library delivers for 4:4:4 frames")
        ->type_name("CODING")
        ->check(CLI::IsMember({"ycbcr", "rgb", "rgb-video"}));
    command.add_option("--target", options.target, "code path of the library; auto takes the best")
        ->type_name("TARGET")
        ->check(CLI::IsMember({"auto", "baseline", "avx2"}))
        ->capture_default_str();
}

namespace {

std::uint32_t downSampleFactorOf(std::string const& size) {
    return size == "half" ? 1 : size == "quarter" ? 2 : size == "eighth" ? 3 : 0;
}

OptimizationTarget targetOf(std::string const& name) {
    if (name == "avx2" && RaveloDecoderInterface::GetMaxOptType() == 0)
        throw failure("this processor cannot run the target avx2; --target auto takes what it can");
    // The library itself lowers the target to what the processor can run.
    return name == "baseline" ? OptimizationTarget::Baseline : OptimizationTarget::AVX2;
}

std::uint32_t colorOf(std::string const& text) {
    std::uint32_t color = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, color, 16);
    if (text.size() != 6 || result.ec != std::errc() || result.ptr != end)
        throw usageError("--mark-color takes six hexadecimal digits such as FF00FF, not {}", text);
    return color;
}

} // namespace

DecodeForm requestOf(DecodeOptions const& options, std::uint32_t defaultBitDepth, ColorCoding defaultCoding) {
    DecodeForm request;
    request.downSampleFactor = downSampleFactorOf(options.size);
    const std::uint32_t fallback = request.downSampleFactor == 0 ? defaultBitDepth : 8;
    request.bitDepth = options.bitDepth == 0 ? fallback : options.bitDepth;
    if (request.downSampleFactor != 0 && request.bitDepth != 8)
        throw usageError("--size {} comes in 8 bits only, not in {}", options.size, request.bitDepth);
    request.colorCoding = options.coding == "ycbcr"       ? ColorCoding_YCbCr
                          : options.coding == "rgb"       ? ColorCoding_RGBFull
                          : options.coding == "rgb-video" ? ColorCoding_RGBVideo
                                                          : defaultCoding;
    request.target = targetOf(options.target);
    request.failedSlices = options.failed == "marked" ? FailedSlices::Marked
                           : options.failed == "left" ? FailedSlices::Left
                                                      : FailedSlices::Black;
    request.markColor = colorOf(options.markColor);
    return request;
}

void printReport(std::string const& text) {
    OutputFile output("-", true);
    output.write(text);
    output.commit();
}
