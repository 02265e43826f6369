#include "Intrinsics.h"
#include "WideReconstruction_Impl.h"

// The one unit of the reconstruction that is compiled for AVX-512. It must define nothing that the linker could share
// with other units.

void writeWide(WideSlice const& slice, VerticalOutput const& output, OutputLevels const& levels) {
    if (output.isDeep)
        writeInSamples<std::uint16_t>(slice, output, levels);
    else
        writeInSamples<std::uint8_t>(slice, output, levels);
}

void writeWideToPlanes(WideSlice const& slice, bool isDeep, SlicePlanes const& to, OutputLevels const& levels) {
    if (isDeep)
        writeToPlanes<std::uint16_t>(slice, to, levels);
    else
        writeToPlanes<std::uint8_t>(slice, to, levels);
}

void transformWide(WideSlice const& slice, bool is444, SampleBand& band) {
    if (is444)
        transformToBand<true>(slice, band);
    else
        transformToBand<false>(slice, band);
}
