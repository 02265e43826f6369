#include "FrameDecode.h"

#include <memory>
#include <stdexcept>
#include <utility>

#include "BufferRequirements.h"
#include "Frame.h"
#include "ProcessorDispatch.h"
#include "RaveloDecoderInterface.h"

FrameDecode::FrameDecode(std::vector<std::uint8_t> frame, DecodeRequest const& request)
    : m_frame(std::move(frame)), m_request(request) {
    const PixelBuffer info = Frame::GetFrameInfo({m_frame.data(), m_frame.size()}, request.bitDepth, 0);
    m_width = static_cast<std::uint32_t>(info.width);
    m_height = static_cast<std::uint32_t>(info.height);
    if (isFormed())
        prepareFormed();
    else
        prepareCoded();
}

void FrameDecode::prepareCoded() {
    const Bitstream bits{m_frame.data(), m_frame.size()};
    const BufferRequirements needed = bufferRequirements(bits, m_request.bitDepth, m_request.downSampleFactor);
    m_lineStride = static_cast<std::int64_t>(needed.safeStride);
    reserveOutput(needed.bytes);
}

void FrameDecode::reserveOutput(std::size_t bytes) {
    constexpr std::size_t kAlignment = 64;
    m_output.assign(bytes + kAlignment, 1);
    void* firstLine = m_output.data();
    std::size_t space = m_output.size();
    m_firstLine = static_cast<std::uint8_t*>(std::align(kAlignment, bytes, firstLine, space));
}

// Lines are as long as those of hosts: eight bytes a pixel or four, or two or one of each plane.
void FrameDecode::prepareFormed() {
    PixelRectangle& region = m_request.region;
    if (region.width == 0)
        region = {0, 0, m_width >> m_request.downSampleFactor, m_height >> m_request.downSampleFactor};
    const std::size_t samples = m_request.form == PixelForm::Planar ? 1 : 4;
    const std::size_t stride = samples * (m_request.bitDepth > 8 ? 2 : 1) * region.width;
    reserveOutput(stride * region.height * 4);
    m_pictureOutput.form = m_request.form;
    m_pictureOutput.region = region;
    for (std::size_t i = 0; i < 4; ++i)
        m_pictureOutput.planes[i] = {m_firstLine + i * stride * region.height, static_cast<std::int64_t>(stride)};
}

void FrameDecode::run() {
    if (isFormed()) {
        const Frame frame({m_frame.data(), m_frame.size()}, m_pictureOutput, m_request.colorCoding, m_request.bitDepth,
                          m_request.target, m_request.downSampleFactor);
        return;
    }
    RaveloDecoderInterface::DecompressFrameFromBits(m_frame.data(), m_frame.size(), m_request.downSampleFactor,
                                                    m_request.colorCoding, m_request.bitDepth, m_firstLine,
                                                    m_lineStride, m_request.target);
}

double FrameDecode::bitsPerPixel() const {
    return 8.0 * static_cast<double>(m_frame.size()) / numPixels();
}

bool canRunKernelVariant(Variant const& variant) {
    std::uint64_t actual = 0;
    ownGetMaskFeatures(&actual);
    return canRun(variant, actual);
}

void selectKernelVariant(std::string const& name) {
    if (name == "native") {
        ippInit();
        return;
    }
    for (Variant const& variant : kVariants) {
        if (name != variant.name)
            continue;
        if (!canRunKernelVariant(variant))
            throw std::runtime_error("this processor cannot run the kernel variant " + name);
        ippSetCpuFeatures(variant.features);
        return;
    }
    throw std::runtime_error(name + " is not a kernel variant; there are " + kernelVariantNames());
}

std::string selectedKernelVariant() {
    return kVariants[ippJumpIndexForMergedLibs].name;
}

std::string kernelVariantNames() {
    std::string names;
    for (Variant const& variant : kVariants)
        names += std::string(variant.name) + ", ";
    return names + "native";
}
