#pragma once

#include "CoefficientScan.h"
#include "SampleBand.h"
#include "VerticalReconstruction.h"

// The vertical reconstruction in the form of an output.
template <OptimizationTarget target>
void writeVertically(VerticalSlice<target> const& slice, VerticalOutput const& output, OutputLevels const& levels);

template <OptimizationTarget target, class Sample>
void writeVertically422(VerticalSlice<target> const& slice, OutputLevels const& levels) {
    for (std::uint32_t first = 0; first < slice.numMbs; first += 4) {
        const std::uint32_t left = slice.numMbs - first;
        VerticalReconstruction<target>::template write422Mbs<Sample>(slice, levels, first, left < 4 ? left : 4);
    }
}

template <OptimizationTarget target, bool rgb, class Sample, unsigned int alphaDepth>
void writeVertically444(VerticalSlice<target> const& slice, OutputLevels const& levels) {
    for (std::uint32_t first = 0; first < slice.numMbs; first += 2) {
        const std::uint32_t left = slice.numMbs - first;
        VerticalReconstruction<target>::template write444Mbs<rgb, Sample, alphaDepth>(slice, levels, first,
                                                                                      left < 2 ? left : 2);
    }
}

template <OptimizationTarget target, bool rgb, class Sample>
void writeVerticallyWithAlpha(VerticalSlice<target> const& slice, unsigned int alphaDepth, OutputLevels const& levels) {
    if (alphaDepth == 0)
        writeVertically444<target, rgb, Sample, 0>(slice, levels);
    else if (alphaDepth == 8)
        writeVertically444<target, rgb, Sample, 8>(slice, levels);
    else
        writeVertically444<target, rgb, Sample, 16>(slice, levels);
}

template <OptimizationTarget target, class Sample>
void writeVerticallyInSamples(VerticalSlice<target> const& slice, VerticalOutput const& output,
                              OutputLevels const& levels) {
    if (!output.is444)
        writeVertically422<target, Sample>(slice, levels);
    else if (output.rgb)
        writeVerticallyWithAlpha<target, true, Sample>(slice, output.alphaDepth, levels);
    else
        writeVerticallyWithAlpha<target, false, Sample>(slice, output.alphaDepth, levels);
}

template <OptimizationTarget target>
void writeVertically(VerticalSlice<target> const& slice, VerticalOutput const& output, OutputLevels const& levels) {
    if (output.isDeep)
        writeVerticallyInSamples<target, std::uint16_t>(slice, output, levels);
    else
        writeVerticallyInSamples<target, std::uint8_t>(slice, output, levels);
}

// The same of 4:2:2 to planes.
template <OptimizationTarget target, class Sample>
void writeVerticallyToPlanes(VerticalSlice<target> const& slice, SlicePlanes const& to, OutputLevels const& levels) {
    for (std::uint32_t first = 0; first < slice.numMbs; first += 4) {
        const std::uint32_t left = slice.numMbs - first;
        VerticalReconstruction<target>::template write422MbsToPlanes<Sample>(slice, to, levels, first,
                                                                             left < 4 ? left : 4);
    }
}

// The samples of a component, whatever of them is written in the end.
template <OptimizationTarget target>
void transformVertically(ComponentScan const& scan, VerticalPlan<target> const& plan, BlockLayout order,
                         SamplePlane& plane) {
    for (std::uint32_t first = 0; first < scan.numBlocks; first += 8) {
        const std::uint32_t left = scan.numBlocks - first, count = left < 8 ? left : 8;
        float* blocks[8];
        for (std::uint32_t i = 0; i < count; ++i)
            blocks[i] = plane.block(order, first + i, 8);
        VerticalReconstruction<target>::writeSamples(scan.coefficients + first, plan, blocks, count);
    }
}
