#pragma once

#include "VerticalReconstruction.h"

// What the vertical form of a slice writes.
struct VerticalOutput {
    bool is444;
    bool rgb;                // 4:4:4 only
    bool isDeep;             // codes of 16 bits
    unsigned int alphaDepth; // 4:4:4 only: 0 without alpha, 8 or 16
};

// The vertical reconstruction in the form of an output.
template <OptimizationTarget target>
void writeVertically(VerticalSlice<target> const& slice, VerticalOutput const& output, OutputLevels const& levels);

template <OptimizationTarget target, bool rgb, class Sample>
void writeVertically444(VerticalSlice<target> const& slice, unsigned int alphaDepth, OutputLevels const& levels) {
    using Form = VerticalReconstruction<target>;
    if (alphaDepth == 0)
        Form::template write444<rgb, Sample, 0>(slice, levels);
    else if (alphaDepth == 8)
        Form::template write444<rgb, Sample, 8>(slice, levels);
    else
        Form::template write444<rgb, Sample, 16>(slice, levels);
}

template <OptimizationTarget target, class Sample>
void writeVerticallyInSamples(VerticalSlice<target> const& slice, VerticalOutput const& output,
                              OutputLevels const& levels) {
    if (!output.is444)
        VerticalReconstruction<target>::template write422<Sample>(slice, levels);
    else if (output.rgb)
        writeVertically444<target, true, Sample>(slice, output.alphaDepth, levels);
    else
        writeVertically444<target, false, Sample>(slice, output.alphaDepth, levels);
}

template <OptimizationTarget target>
void writeVertically(VerticalSlice<target> const& slice, VerticalOutput const& output, OutputLevels const& levels) {
    if (output.isDeep)
        writeVerticallyInSamples<target, std::uint16_t>(slice, output, levels);
    else
        writeVerticallyInSamples<target, std::uint8_t>(slice, output, levels);
}
