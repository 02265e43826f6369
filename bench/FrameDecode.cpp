#include "FrameDecode.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "BufferRequirements.h"
#include "Frame.h"
#include "ProcessorDispatch.h"
#include "ProcessorFeatures.h"
#include "RaveloDecoderInterface.h"
#include "VariantSelection.h"

namespace {

const char* const kVariantNames[kNumVariants] = {"y8", "e9", "l9", "k0"};

// What tells a variant from the one above it: none of these may be in the mask.
constexpr std::uint64_t kFeaturesAbove[kNumVariants] = {
    kFeatureAvx | kFeatureAvx2 | kFeatureAvx512F,
    kFeatureAvx2 | kFeatureAvx512F,
    kFeatureAvx512F,
    0,
};

} // namespace

FrameDecode::FrameDecode(std::vector<std::uint8_t> frame, DecodeForm const& form)
    : m_frame(std::move(frame)), m_form(form) {
    const Bitstream bits{m_frame.data(), m_frame.size()};
    const PixelBuffer info = Frame::GetFrameInfo(bits, form.bitDepth, 0);
    m_width = static_cast<std::uint32_t>(info.width);
    m_height = static_cast<std::uint32_t>(info.height);
    const BufferRequirements needed = bufferRequirements(bits, form.bitDepth, form.downSampleFactor);
    m_lineStride = static_cast<std::int64_t>(needed.safeStride);
    constexpr std::size_t kAlignment = 64;
    m_output.assign(needed.bytes + kAlignment, 1);
    void* firstLine = m_output.data();
    std::size_t space = m_output.size();
    m_firstLine = static_cast<std::uint8_t*>(std::align(kAlignment, needed.bytes, firstLine, space));
}

void FrameDecode::run() {
    RaveloDecoderInterface::DecompressFrameFromBits(m_frame.data(), m_frame.size(), m_form.downSampleFactor,
                                                    m_form.colorCoding, m_form.bitDepth, m_firstLine, m_lineStride,
                                                    m_form.target);
}

double FrameDecode::bitsPerPixel() const {
    return 8.0 * static_cast<double>(m_frame.size()) / numPixels();
}

std::uint64_t featuresOfKernelVariant(std::int32_t index) {
    std::uint64_t features = 0;
    ownGetMaskFeatures(&features);
    features &= ~kFeaturesAbove[index];
    return variantForRequest(features, features).index == index ? features : 0;
}

void selectKernelVariant(std::string const& name) {
    if (name == "native") {
        ippInit();
        return;
    }
    const auto found = std::find(std::begin(kVariantNames), std::end(kVariantNames), name);
    if (found == std::end(kVariantNames))
        throw std::runtime_error("no kernel variant " + name);
    const std::uint64_t features =
        featuresOfKernelVariant(static_cast<std::int32_t>(found - std::begin(kVariantNames)));
    if (features == 0)
        throw std::runtime_error("this processor cannot run the kernel variant " + name);
    ippSetCpuFeatures(features);
}
