#include "SharedOptions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>
#include <string_view>

#include "OutputFile.h"
#include "ParsedNumber.h"
#include "PixelBuffer.h"
#include "ravelo.h"

namespace {

// In the order of their numbers.
const std::array<std::string, 2> kTargetNames{"baseline", "avx2"};

const std::string kBestTarget = "auto";

std::vector<std::string> targetChoices() {
    std::vector<std::string> choices{kBestTarget};
    choices.insert(choices.end(), kTargetNames.begin(), kTargetNames.end());
    return choices;
}

} // namespace

void addVerbosityOptions(Subcommand& command, Verbosity& verbosity) {
    command.flag("-q,--quiet", verbosity.quiet, "no warnings and no progress");
    command.flag("-v,--verbose", verbosity.verbose, "print a line for each finished file");
    addProgressOption(command, verbosity);
}

void addProgressOption(Subcommand& command, Verbosity& verbosity) {
    command.option("--progress", verbosity.progress, "progress on standard error: for people, or a JSON line a frame")
        .value("FORM")
        .oneOf({"text", "json"})
        .showDefault();
}

void addMissingOption(Subcommand& command, std::string& missing, std::vector<std::string> const& choices) {
    command.option("--missing", missing, "what to do for a missing frame of a sequence")
        .value("WHAT")
        .oneOf(choices)
        .showDefault();
}

void addKeepGoingOption(Subcommand& command, bool& keepGoing) {
    command.flag("-k,--keep-going", keepGoing,
                 "continue after files that fail; the exit code is then 3, or 1 if nothing came out");
}

void addSkipExistingOption(Subcommand& command, bool& skipExisting, Argument const& force) {
    command.flag("--skip-existing", skipExisting, "leave outputs that exist as they are, and make the others")
        .excludes(force);
}

Argument addForceOption(Subcommand& command, bool& force) {
    return command.flag("-f,--force", force, "overwrite existing files");
}

void addMaxPixelsOption(Subcommand& command, std::uint64_t& maxPixels) {
    command.option("--max-pixels", maxPixels, "refuse frames and pictures of more pixels; 0 means no limit")
        .value("N")
        .between(0, std::numeric_limits<std::uint64_t>::max())
        .showDefault();
}

void addFrameLimitsOptions(Subcommand& command, FrameLimits& limits) {
    addMaxPixelsOption(command, limits.maxPixels);
    command
        .option("--max-read-factor", limits.maxReadFactor,
                "refuse frames whose slices together read more than N times the size of the frame; 0 means no limit")
        .value("N")
        .between(0, 1000000)
        .showDefault();
}

void addThreadsOption(Subcommand& command, std::size_t& threads) {
    command.option("--threads", threads, "maximum number of threads; 0 means one for each processor")
        .value("N")
        .between(0, 1024)
        .showDefault();
}

void addFrameLoopOptions(Subcommand& command, FrameLoopOptions& options) {
    addThreadsOption(command, options.threads);
    command
        .option("--in-flight", options.inFlight, "maximum number of frames decoded at once; 0 lets the command choose")
        .value("N")
        .between(0, 1024)
        .showDefault();
    addFrameLimitsOptions(command, options.limits);
}

void addTargetOption(Subcommand& command, std::string& target) {
    command.option("--target", target, "code path of the library; auto selects the best")
        .value("TARGET")
        .oneOf(targetChoices())
        .showDefault();
}

Argument addJsonOption(Subcommand& command, bool& json) {
    return command.flag("--json", json, "report in JSON");
}

void addLineOptions(Subcommand& command, bool& brief, bool& csv, Argument const& json) {
    const Argument briefFlag = command.flag("--brief", brief, "report one line for each frame").excludes(json);
    command.flag("--csv", csv, "report one line of comma-separated values for each frame")
        .excludes(json)
        .excludes(briefFlag);
}

void addHtmlOption(Subcommand& command, std::string& html) {
    command.option("--html", html, "also write a page with pictures, maps and tables, which needs no other file")
        .value("FILE");
}

void checkHtml(std::string const& html, bool reportsToStandardOutput, bool force, InputSet const& inputs) {
    if (html.empty())
        return;
    if (html == "-" && reportsToStandardOutput)
        throw usageError("the page of --html and the report cannot both be written to standard output; -q omits the "
                         "report");
    refuseExisting(html, force);
    inputs.refuse(html);
}

void addFramesArgument(Subcommand& command, std::vector<std::string>& frames, std::string& numbers) {
    command.option("frames", frames, "frames, or sequences such as shot.####.rvl; - for standard input")
        .value("FRAME")
        .required();
    command.option("--frames", numbers, "numbers of a sequence, such as 1-100x2").value("LIST");
}

void addFailedSlicesOptions(Subcommand& command, RequestOptions& options) {
    command.option("--failed", options.failed, "what to write for slices that fail; left means samples of 0")
        .value("WHAT")
        .oneOf({"black", "marked", "left"})
        .showDefault();
    command.option("--mark-color", options.markColor, "colour for --failed marked, as six hexadecimal digits")
        .value("RRGGBB")
        .showDefault();
}

void addRegionOption(Subcommand& command, RequestOptions& options) {
    command
        .option("--region", options.region,
                "part of the picture: first column and line, width and height, in pixels of the chosen size")
        .value("X,Y,WxH");
}

void addRequestOptions(Subcommand& command, RequestOptions& options) {
    command.option("--size", options.size, "size of the decoded picture; reduced sizes have 8 bits")
        .value("SIZE")
        .oneOf({"full", "half", "quarter", "eighth"})
        .showDefault();
    command.option("--depth", options.bitDepth, "bits per sample of the output").value("BITS").oneOf(kBitDepths);
    command.option("--coding", options.coding, "color coding that the library delivers for 4:4:4 frames")
        .value("CODING")
        .oneOf({"ycbcr", "rgb", "rgb-video"});
    addTargetOption(command, options.target);
}

OptimizationTarget targetNamed(std::string const& name) {
    const auto best = static_cast<std::ptrdiff_t>(ravelo_best_target()) - RAVELO_TARGET_BASELINE;
    const auto place = std::find(kTargetNames.begin(), kTargetNames.end(), name);
    const std::ptrdiff_t number = name == kBestTarget ? best : place - kTargetNames.begin();
    if (number > best)
        throw failure("this processor cannot run the target {}; use --target auto or {}", name,
                      targetName(static_cast<OptimizationTarget>(best)));
    return static_cast<OptimizationTarget>(number);
}

std::string targetName(OptimizationTarget target) {
    return kTargetNames.at(static_cast<std::size_t>(target));
}

namespace {

std::uint32_t downSampleFactorOf(std::string const& size) {
    return size == "half" ? 1 : size == "quarter" ? 2 : size == "eighth" ? 3 : 0;
}

std::uint32_t colorOf(std::string const& text) {
    const std::optional<std::uint32_t> color = parsedNumber<std::uint32_t>(text, 16);
    if (text.size() != 6 || !color)
        throw usageError("--mark-color takes six hexadecimal digits such as FF00FF, not {}", text);
    return *color;
}

// Takes a number from the front of the text, and then the separator, or the end where that is 0.
bool takeNumber(std::string_view& text, char separator, std::uint32_t& number) {
    const std::from_chars_result result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec != std::errc())
        return false;
    text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
    if (separator == 0)
        return text.empty();
    const bool follows = !text.empty() && text.front() == separator;
    text.remove_prefix(follows ? 1 : 0);
    return follows;
}

PixelRectangle regionOf(std::string const& text) {
    PixelRectangle region;
    std::string_view rest = text;
    const bool isGood = takeNumber(rest, ',', region.x) && takeNumber(rest, ',', region.y) &&
                        takeNumber(rest, 'x', region.width) && takeNumber(rest, 0, region.height);
    if (!isGood || region.width == 0 || region.height == 0)
        throw usageError("--region takes column, line, width and height such as 16,32,640x360, not {}", text);
    return region;
}

} // namespace

DecodeRequest requestOf(RequestOptions const& options, std::uint32_t defaultBitDepth, ColorCoding defaultCoding) {
    DecodeRequest request;
    request.downSampleFactor = downSampleFactorOf(options.size);
    const std::uint32_t fallback = request.downSampleFactor == 0 ? defaultBitDepth : 8;
    request.bitDepth = options.bitDepth == 0 ? fallback : options.bitDepth;
    if (request.downSampleFactor != 0 && request.bitDepth != 8)
        throw usageError("--depth: {0} is not possible with --size {1}; reduced sizes have 8 bits", request.bitDepth,
                         options.size);
    request.colorCoding = options.coding == "ycbcr"       ? ColorCoding_YCbCr
                          : options.coding == "rgb"       ? ColorCoding_RGBFull
                          : options.coding == "rgb-video" ? ColorCoding_RGBVideo
                                                          : defaultCoding;
    request.target = targetNamed(options.target);
    request.failedSlices = options.failed == "marked" ? FailedSlices::Marked
                           : options.failed == "left" ? FailedSlices::Left
                                                      : FailedSlices::Black;
    request.markColor = colorOf(options.markColor);
    if (!options.region.empty())
        request.region = regionOf(options.region);
    return request;
}
