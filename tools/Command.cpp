#include "Command.h"

#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>

#include "InputFile.h"
#include "OutputFile.h"
#include "RaveloDecoderInterface.h"

void addAllCommands(CLI::App& app, Invocation& invocation) {
    app.require_subcommand(1);
    addInfoCommand(app, invocation);
    addDecodeCommand(app, invocation);
    addEncodeCommand(app, invocation);
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
    return request;
}

std::vector<std::uint8_t> readFrame(std::string const& path, std::uint64_t maxPixels) {
    std::vector<std::uint8_t> frame = readFile(path, kMaxFrameBytes);
    checkFrame(displayName(path), frame, maxPixels);
    return frame;
}

void printReport(std::string const& text) {
    OutputFile output("-", true);
    output.write(text);
    output.commit();
}
