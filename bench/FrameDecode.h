#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "OptimizationTarget.h"
#include "PictureOutput.h"
#include "PixelBuffer.h"
#include "VariantSelection.h"

// How a frame is decoded for a measurement.
struct DecodeRequest {
    OptimizationTarget target = OptimizationTarget::AVX2;
    ColorCoding colorCoding = ColorCoding_YCbCr;
    std::uint32_t bitDepth = 10;
    std::uint32_t downSampleFactor = 0;
    PixelForm form = PixelForm::Coded;
    PixelRectangle region = {}; // without a size the whole picture
};

// A frame in memory with an output buffer whose pages are already mapped, so that a decode measures the decoder and not
// the system's page faults.
class FrameDecode {
public:
    FrameDecode(std::vector<std::uint8_t> frame, DecodeRequest const& request);

    // Decodes into the same buffer each time.
    void run();

    std::uint32_t width() const { return m_width; } // at full size
    std::uint32_t height() const { return m_height; }
    double numPixels() const { return double{1} * m_width * m_height; } // at full size
    double bitsPerPixel() const;
    std::vector<std::uint8_t> const& frame() const { return m_frame; }

private:
    bool isFormed() const { return m_request.form != PixelForm::Coded || m_request.region.width != 0; }
    void prepareCoded();
    void prepareFormed();
    void reserveOutput(std::size_t bytes);

    std::vector<std::uint8_t> m_frame;
    DecodeRequest m_request;
    std::uint32_t m_width = 0;
    std::uint32_t m_height = 0;
    std::int64_t m_lineStride = 0;
    std::vector<std::uint8_t> m_output;
    PictureOutput m_pictureOutput;       // of another form or a region
    std::uint8_t* m_firstLine = nullptr; // in m_output, aligned to a cache line as hosts' frame buffers are
};

// Selects a kernel variant by its name, or the best one for "native". Throws std::runtime_error for other names, and
// for a variant that this processor cannot run.
void selectKernelVariant(std::string const& name);

// The name of the variant that is selected.
std::string selectedKernelVariant();

// The names that selectKernelVariant accepts, for messages.
std::string kernelVariantNames();

bool canRunKernelVariant(Variant const& variant);
