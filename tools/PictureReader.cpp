#include "PictureReader.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include "CommandError.h"
#include "PngReader.h"
#include "PnmReader.h"
#include "Y4mReader.h"

namespace {

constexpr std::array<std::uint8_t, 8> kPngSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr std::string_view kY4mSignature = "YUV4MPEG2";

template <typename Signature>
bool startsWith(std::span<const std::uint8_t> bytes, Signature const& signature) {
    return bytes.size() >= signature.size() &&
           std::equal(signature.begin(), signature.end(), bytes.begin(),
                      [](auto expected, std::uint8_t byte) { return static_cast<std::uint8_t>(expected) == byte; });
}

bool isPnm(std::span<const std::uint8_t> bytes) {
    return bytes.size() >= 2 && bytes[0] == 'P' && bytes[1] >= '5' && bytes[1] <= '7';
}

} // namespace

bool isPicture(InputFile& file) {
    const std::span<const std::uint8_t> start = file.peek(kY4mSignature.size());
    return startsWith(start, kPngSignature) || isPnm(start) || startsWith(start, kY4mSignature);
}

bool isSinglePicture(InputFile& file) {
    return startsWith(file.peek(kPngSignature.size()), kPngSignature);
}

std::unique_ptr<PictureReader> makePictureReader(InputFile& file, std::uint64_t maxPixels) {
    const std::span<const std::uint8_t> start = file.peek(kY4mSignature.size());
    if (start.empty())
        throw failure("{} is empty", file.name());
    if (startsWith(start, kPngSignature))
        return std::make_unique<PngReader>(file, maxPixels);
    if (isPnm(start))
        return std::make_unique<PnmReader>(file, maxPixels);
    if (startsWith(start, kY4mSignature))
        return std::make_unique<Y4mReader>(file, maxPixels);
    throw failure("{} is not a PNG, PGM, PPM, PAM (binary) or Y4M file", file.name());
}

InputPicture readPicture(std::string const& path) {
    InputFile file(path);
    std::optional<InputPicture> picture = makePictureReader(file)->next();
    if (!picture)
        throw failure("{} does not contain a picture", file.name());
    return *std::move(picture);
}
