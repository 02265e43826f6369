#pragma once

#include <new>

#include "AlphaVLCStream.h"
#include "BlockGather.h"
#include "BlockTransforms.h"
#include "CoefficientScan_Impl.h"
#include "CornerDequantization.h"
#include "EightValues.h"
#include "LaneGroup.h"
#include "PixelRows.h"
#include "Slice.h"
#include "Slice422MacroblockWriter.h"
#include "Slice4444MacroblockWriter.h"
#include "Slice444MacroblockWriter.h"
#include "Targets.h"
#include "ThreeStreamScan.h"
#include "VerticalForms.h"
#include "WideReconstruction.h"

template <OptimizationTarget target>
unsigned int countBits(std::uint32_t mask) {
    if (kHasVectorForms<target>)
        return static_cast<unsigned int>(__builtin_popcount(mask));
    unsigned int count = 0;
    while (count < 32 && (mask >> count & 1) != 0)
        ++count;
    return count;
}

template <OptimizationTarget target>
Slice<target>::~Slice() {
    if (m_writer != nullptr)
        m_writer->~Writer();
}

template <OptimizationTarget target>
void Slice<target>::open(PictureFacts const& facts, SliceInput const& input) {
    m_facts = &facts;
    m_sliceMbs = input.sizeInMb;
    m_lines = input.lines;
    m_writer = createSliceMacroblockWriter(input.rectangle);
    m_codedSize = input.codedSize;
    m_header = SliceHeader::slice_header(input.bits, facts.hasAlpha, input.codedSize);
    m_bitstream = input.bits;
    m_bitstream.advance(m_header.slice_header_size);
}

template <OptimizationTarget target>
typename Slice<target>::Writer const* Slice<target>::createSliceMacroblockWriter(PixelBuffer const& rectangle) {
    using Writer422 = Slice422MacroblockWriter<target, float>;
    using Writer444 = Slice444MacroblockWriter<target, float>;
    static_assert(sizeof(Writer422) <= sizeof m_writerMemory && alignof(Writer422) <= alignof(LargestWriter));
    static_assert(sizeof(Writer444) <= sizeof m_writerMemory && alignof(Writer444) <= alignof(LargestWriter));
    OutputForm const& form = m_facts->form;
    if (!form.is444)
        return new (m_writerMemory) Writer422(form, rectangle);
    if (!m_facts->hasAlpha)
        return new (m_writerMemory) Writer444(form, rectangle);
    // The alpha pitch follows the reduced macroblock, although the plane is always decoded whole; no reduced writer
    // reads it.
    const std::uint64_t alphaPitch = std::uint64_t{form.mbSize} * m_sliceMbs;
    return new (m_writerMemory) LargestWriter(form, rectangle, m_facts->writtenAlphaBits, alphaPitch);
}

template <OptimizationTarget target>
std::int16_t* Slice<target>::prepareScans(ComponentScan scans[3], std::int16_t* coefficients) {
    const std::uint32_t numBlocks[3] = {lumaBlocks(), chromaBlocks(), chromaBlocks()};
    const std::uint64_t numBytes[3] = {m_header.coded_size_y, m_header.coded_size_cb, m_header.coded_size_cr};
    for (int i = 0; i < 3; ++i) {
        scans[i] = scanAtCursor(coefficients, numBlocks[i], numBytes[i], countBits<target>(numBlocks[i] - 1));
        coefficients += scans[i].keptCoefficients * scans[i].numBlocks + kScanPadding;
        moveCursor(numBytes[i]);
    }
    return coefficients;
}

template <OptimizationTarget target>
ComponentScan Slice<target>::scanAtCursor(std::int16_t* coefficients, std::uint32_t numBlocks, std::uint64_t numBytes,
                                          std::uint32_t log2NumBlocks) const {
    ComponentScan scan;
    scan.range = {m_bitstream.data, numBytes < m_bitstream.size ? numBytes : m_bitstream.size};
    scan.bytesAfterRange = m_bitstream.size - scan.range.size;
    scan.coefficients = coefficients;
    scan.numBlocks = numBlocks;
    scan.log2NumBlocks = log2NumBlocks;
    scan.keptCoefficients = m_facts->form.keptCoefficients;
    scan.dcOnly = scan.keptCoefficients == 1;
    return scan;
}

template <OptimizationTarget target>
bool Slice<target>::scanned_coefficients(std::int16_t* coefficients, std::uint32_t numBlocks, std::uint64_t numBytes,
                                         std::uint32_t log2NumBlocks) const {
    return scanComponentIntoBlocks<target>(scanAtCursor(coefficients, numBlocks, numBytes, log2NumBlocks));
}

template <OptimizationTarget target>
void Slice<target>::scanned_coefficients3(std::int16_t* yCoefficients, std::uint32_t numYBlocks,
                                          std::uint64_t numYBytes, std::int16_t* cbCoefficients,
                                          std::uint32_t numChromaBlocks, std::uint64_t numCbBytes,
                                          std::int16_t* crCoefficients, std::uint64_t numCrBytes,
                                          std::uint32_t log2NumYBlocks, std::uint32_t log2NumChromaBlocks) const {
    Bitstream cursor = m_bitstream;
    const Bitstream yRange = cursor;
    cursor.advance(numYBytes);
    const Bitstream cbRange = cursor;
    cursor.advance(numCbBytes);
    ThreeStreamScan<target> scan{
        {{yRange, numYBytes}, {cbRange, numCbBytes}, {cursor, numCrBytes}},
        {yCoefficients, cbCoefficients, crCoefficients},
        {numYBlocks, numChromaBlocks, numChromaBlocks},
        {log2NumYBlocks, log2NumChromaBlocks, log2NumChromaBlocks},
    };
    scan.run();
}

template <OptimizationTarget target>
void Slice<target>::scanned_alpha(std::uint16_t* samples, std::uint32_t numSamples) const {
    AlphaVLCStream<target>(m_bitstream, m_facts->codedAlphaBits).fillSamples(samples, numSamples);
}

template <OptimizationTarget target>
bool Slice<target>::needsAlpha() const {
    if (m_facts->formed != nullptr && m_facts->formed->takesSamples)
        return m_facts->formed->hasAlpha;
    return m_facts->hasAlpha && m_writer->readsAlpha();
}

template <OptimizationTarget target>
AlphaPlane Slice<target>::alphaPlane(std::uint16_t* samples) const {
    const std::uint64_t before = m_header.slice_header_size + std::uint64_t{m_header.coded_size_y} +
                                 m_header.coded_size_cb + m_header.coded_size_cr;
    const auto codedBytes = static_cast<std::uint32_t>(before < m_codedSize ? m_codedSize - before : 0);
    return {m_bitstream, samples, alphaSamples(), codedBytes};
}

template <OptimizationTarget target>
void Slice<target>::pixelReconstruction(ComponentScan const scans[3], std::uint16_t const* alpha,
                                        SliceScratch<target>& scratch) const {
    switch (m_facts->form.blockPart) {
    case BlockPart::Whole:
        return reconstructFull(scans, alpha, scratch);
    case BlockPart::Corner4x4:
        return reconstructCorners<4>(scans, alpha);
    case BlockPart::Corner2x2:
        return reconstructCorners<2>(scans, alpha);
    case BlockPart::Dc:
        return reconstructEighth(scans, alpha);
    case BlockPart::None:
        return;
    }
}

// The step size of a slice. Indices above 128 count in steps of 4.
template <OptimizationTarget target>
typename Slice<target>::CoefFloat Slice<target>::qScale() const {
    const std::uint32_t index = m_header.quantization_index;
    return static_cast<CoefFloat>(index <= 128 ? index : 4 * index - 384);
}

// Matrix times step size. Coefficient times step size times matrix entry rounds once in either order, since the first
// product is exact both ways: 16 + 8 bits with the step size first, 8 + 8 bits here.
static inline void multiplyMatrix(const float* matrix, float qScale, float* product) {
    for (int i = 0; i < 64; ++i)
        product[i] = matrix[i] * qScale;
}

// The two matrices of a slice in raster order.
template <OptimizationTarget target>
struct SliceMatrices {
    SliceMatrices(PictureFacts const& facts, float qScale) {
        multiplyMatrix(facts.lumaMatrix, qScale, luma);
        multiplyMatrix(facts.chromaMatrix, qScale, chroma);
    }

    float luma[64];
    float chroma[64];
};

template <OptimizationTarget target>
void Slice<target>::reconstructFull(ComponentScan const scans[3], std::uint16_t const* alpha,
                                    SliceScratch<target>& scratch) const {
    const SliceMatrices<target> matrices(*m_facts, qScale());
    // Samples of more than 8 bits have this size even where macroblocks are closer to each other.
    const bool isFullSize = m_facts->form.mbSize == 16;
    std::uint32_t firstPlainMb = 0;
    if (isFullSize && m_facts->reconstruction != ReconstructionForm::Plain)
        firstPlainMb = reconstructVertically(scans, alpha, matrices);
    if (firstPlainMb < m_sliceMbs)
        reconstructPlainly(scans, alpha, matrices, firstPlainMb, scratch);
}

// The plans of a slice's components.
template <OptimizationTarget target>
struct VerticalPlans {
    VerticalPlans(PictureFacts const& facts, SliceMatrices<target> const& matrices, ComponentScan const scans[3])
        : luma(matrices.luma, facts.scanPattern, scans[0].numBlocks, kUnit),
          chroma(matrices.chroma, facts.scanPattern, scans[1].numBlocks,
                 facts.reconstruction == ReconstructionForm::Wide ? kWideChromaUnit : kUnit) {}

    static constexpr float kUnit = VerticalReconstruction<target>::kUnit;
    VerticalPlan<target> luma;
    VerticalPlan<target> chroma;
};

// All macroblocks; not yet where they go.
template <OptimizationTarget target>
VerticalSlice<target> Slice<target>::wholeSlice(ComponentScan const scans[3],
                                                VerticalPlans<target> const& plans) const {
    VerticalSlice<target> slice{};
    for (int i = 0; i < 3; ++i) {
        slice.coefficients[i] = scans[i].coefficients;
        slice.plans[i] = i == 0 ? &plans.luma : &plans.chroma;
    }
    slice.numMbs = m_sliceMbs;
    return slice;
}

// Those that are not clipped at the right.
template <OptimizationTarget target>
VerticalSlice<target> Slice<target>::verticalSlice(ComponentScan const scans[3],
                                                   VerticalPlans<target> const& plans) const {
    PixelBuffer const& rectangle = m_writer->pixelBuffer();
    VerticalSlice<target> slice = wholeSlice(scans, plans);
    const std::uint64_t wholeMbs = rectangle.width / 16;
    slice.numMbs = wholeMbs < m_sliceMbs ? static_cast<std::uint32_t>(wholeMbs) : m_sliceMbs;
    slice.numRows = rectangle.height < 16 ? static_cast<std::uint32_t>(rectangle.height) : 16;
    return slice;
}

template <OptimizationTarget target>
void Slice<target>::planarReconstruction(ComponentScan const scans[3], SlicePlanes const& to) const {
    const SliceMatrices<target> matrices(*m_facts, qScale());
    const VerticalPlans<target> plans(*m_facts, matrices, scans);
    const VerticalSlice<target> slice = verticalSlice(scans, plans);
    const bool isDeep = m_facts->form.bytesPerSample > 1;
    if constexpr (kHasVectorForms<target>) {
        if (m_facts->reconstruction == ReconstructionForm::Wide)
            return writeWideToPlanes(slice, isDeep, to, m_facts->form.levels);
    }
    if (isDeep)
        writeVerticallyToPlanes<target, std::uint16_t>(slice, to, m_facts->form.levels);
    else
        writeVerticallyToPlanes<target, std::uint8_t>(slice, to, m_facts->form.levels);
}

template <OptimizationTarget target>
void Slice<target>::writeInForm(VerticalSlice<target> const& slice, VerticalOutput const& output) const {
    if constexpr (kHasVectorForms<target>) {
        if (m_facts->reconstruction == ReconstructionForm::Wide)
            return writeWide(slice, output, m_facts->form.levels);
    }
    writeVertically<target>(slice, output, m_facts->form.levels);
}

// Writes the macroblocks that are not clipped at the right, which come first, and returns their number.
template <OptimizationTarget target>
std::uint32_t Slice<target>::reconstructVertically(ComponentScan const scans[3], std::uint16_t const* alpha,
                                                   SliceMatrices<target> const& matrices) const {
    OutputForm const& form = m_facts->form;
    PixelBuffer const& rectangle = m_writer->pixelBuffer();
    const VerticalPlans<target> plans(*m_facts, matrices, scans);
    VerticalSlice<target> slice = verticalSlice(scans, plans);
    slice.pixels = rectangle.pixels;
    slice.lineStride = rectangle.lineStride;
    slice.streams = form.streams;
    slice.alpha = alpha;
    slice.alphaPitch = std::uint64_t{16} * m_sliceMbs;
    const VerticalOutput output{form.is444, rectangle.colorCoding != ColorCoding_YCbCr, form.bytesPerSample > 1,
                                m_facts->hasAlpha ? m_facts->writtenAlphaBits : 0};
    writeInForm(slice, output);
    return slice.numMbs;
}

template <OptimizationTarget target>
void Slice<target>::reconstructPlainly(ComponentScan const scans[3], std::uint16_t const* alpha,
                                       SliceMatrices<target> const& matrices, std::uint32_t firstMb,
                                       SliceScratch<target>& scratch) const {
    auto& raster = scratch.raster;
    for (int i = 0; i < 3; ++i)
        gatherBlocks<target, 8>(scans[i], m_facts->scanPattern, raster[i]);

    constexpr std::uint32_t kMbsAtOnce = SliceScratch<target>::kMbsAtOnce;
    auto& [y, cb, cr] = scratch.samples;
    const std::uint32_t chromaBlocks = m_facts->form.chromaBlocksPerMb;
    for (std::uint32_t first = firstMb; first < m_sliceMbs; first += kMbsAtOnce) {
        const std::uint32_t mbs = m_sliceMbs - first < kMbsAtOnce ? m_sliceMbs - first : kMbsAtOnce;
        inverse8x8Blocks(raster[0] + first * 256, matrices.luma, y[0][0], mbs * 4);
        inverse8x8Blocks(raster[1] + first * chromaBlocks * 64, matrices.chroma, cb[0][0], mbs * chromaBlocks);
        inverse8x8Blocks(raster[2] + first * chromaBlocks * 64, matrices.chroma, cr[0][0], mbs * chromaBlocks);
        for (std::uint32_t mb = 0; mb < mbs; ++mb)
            (*m_writer)(first + mb, y + 4 * mb, cb + chromaBlocks * mb, cr + chromaBlocks * mb, alpha);
    }
}

// Transforms the corners of all blocks of a component.
template <OptimizationTarget target>
template <unsigned int side>
void Slice<target>::cornersOf(ComponentScan const& scan, const float* matrix,
                              std::int16_t (*samples)[side][side]) const {
    alignas(64) std::int16_t corners[kMaxComponentBlocks * side * side + kGatherPadding];
    gatherBlocks<target, side>(scan, m_facts->scanPattern, corners);
    dequantizeCorners<target, side>(corners, matrix, scan.numBlocks);
    if constexpr (side == 4)
        inverse4x4Corners(corners, samples[0][0], scan.numBlocks);
    else
        inverse2x2Corners(corners, samples[0][0], scan.numBlocks);
}

// Reduced macroblocks are written from the right: what the last one of a row writes beyond the picture may fall on the
// left edge of the next line, where the first one is.
template <OptimizationTarget target>
template <unsigned int side>
void Slice<target>::reconstructCorners(ComponentScan const scans[3], std::uint16_t const* alpha) const {
    const SliceMatrices<target> matrices(*m_facts, qScale());
    alignas(64) std::int16_t samples[3][kMaxComponentBlocks][side][side];
    for (int i = 0; i < 3; ++i)
        cornersOf<side>(scans[i], i == 0 ? matrices.luma : matrices.chroma, samples[i]);
    for (std::uint32_t mb = m_sliceMbs; mb-- > 0;) {
        auto* y = samples[0] + 4 * mb;
        auto* cb = samples[1] + mb * m_facts->form.chromaBlocksPerMb;
        auto* cr = samples[2] + mb * m_facts->form.chromaBlocksPerMb;
        if constexpr (side == 4)
            m_writer->reconstructBlock16s_Half(mb, y, cb, cr, alpha);
        else
            m_writer->reconstructBlock16s_Quarter(mb, y, cb, cr, alpha);
    }
}

// The sample of a block from its DC alone, by the transform's DC gain of 1/8: the product is cut towards zero to 16
// bits, then rounded.
static inline std::int16_t sampleOfDc(float product) {
    const auto dc = static_cast<std::int16_t>(static_cast<std::int32_t>(product));
    return static_cast<std::int16_t>((std::int32_t{dc} + 4) >> 3);
}

template <OptimizationTarget target>
void Slice<target>::samplesOfDcs(ComponentScan const& scan, float matrixDc, std::int16_t* samples) const {
    const float factor = qScale() * matrixDc;
    for (std::uint32_t block = 0; block < scan.numBlocks; ++block)
        samples[block] = sampleOfDc(static_cast<CoefFloat>(scan.coefficients[block]) * factor);
}

template <OptimizationTarget target>
void Slice<target>::reconstructEighth(ComponentScan const scans[3], std::uint16_t const* alpha) const {
    std::int16_t samples[3][kMaxComponentBlocks];
    for (int i = 0; i < 3; ++i)
        samplesOfDcs(scans[i], (i == 0 ? m_facts->lumaMatrix : m_facts->chromaMatrix)[0], samples[i]);
    for (std::uint32_t mb = m_sliceMbs; mb-- > 0;) {
        const std::uint32_t chroma = mb * m_facts->form.chromaBlocksPerMb;
        m_writer->reconstructBlock16s_Eighth(mb, samples[0] + 4 * mb, samples[1] + chroma, samples[2] + chroma, alpha);
    }
}

template <OptimizationTarget target>
void Slice<target>::sampleReconstruction(ComponentScan const scans[3], std::uint16_t const* alpha,
                                         SliceScratch<target>& scratch, SampleBand& band) const {
    switch (m_facts->form.blockPart) {
    case BlockPart::Whole:
        samplesOfWholeBlocks(scans, scratch, band);
        break;
    case BlockPart::Corner4x4:
        samplesOfCorners<4>(scans, band);
        break;
    case BlockPart::Corner2x2:
        samplesOfCorners<2>(scans, band);
        break;
    case BlockPart::Dc:
        samplesOfCorners<1>(scans, band);
        break;
    case BlockPart::None:
        break;
    }
    if (alpha != nullptr)
        meansOfAlpha(alpha, band);
}

template <OptimizationTarget target>
BlockLayout Slice<target>::blockLayout(unsigned int component) const {
    if (component == 0)
        return BlockLayout::Rows;
    return m_facts->form.is444 ? BlockLayout::Columns : BlockLayout::Stack;
}

template <OptimizationTarget target>
void Slice<target>::samplesOfWholeBlocks(ComponentScan const scans[3], SliceScratch<target>& scratch,
                                         SampleBand& band) const {
    const SliceMatrices<target> matrices(*m_facts, qScale());
    if (m_facts->reconstruction == ReconstructionForm::Plain)
        return samplesPlainly(scans, matrices, scratch, band);
    const VerticalPlans<target> plans(*m_facts, matrices, scans);
    if constexpr (kHasVectorForms<target>) {
        if (m_facts->reconstruction == ReconstructionForm::Wide)
            return transformWide(wholeSlice(scans, plans), m_facts->form.is444, band);
    }
    for (unsigned int i = 0; i < 3; ++i)
        transformVertically(scans[i], i == 0 ? plans.luma : plans.chroma, blockLayout(i), band.component[i]);
}

template <OptimizationTarget target>
void Slice<target>::samplesPlainly(ComponentScan const scans[3], SliceMatrices<target> const& matrices,
                                   SliceScratch<target>& scratch, SampleBand& band) const {
    for (unsigned int i = 0; i < 3; ++i) {
        gatherBlocks<target, 8>(scans[i], m_facts->scanPattern, scratch.raster[i]);
        constexpr std::uint32_t kBlocksAtOnce = SliceScratch<target>::kMbsAtOnce * 4;
        for (std::uint32_t first = 0; first < scans[i].numBlocks; first += kBlocksAtOnce) {
            const std::uint32_t left = scans[i].numBlocks - first;
            const std::uint32_t count = left < kBlocksAtOnce ? left : kBlocksAtOnce;
            inverse8x8Blocks(scratch.raster[i] + first * 64, i == 0 ? matrices.luma : matrices.chroma,
                             scratch.samples[i][0][0], count);
            for (std::uint32_t block = 0; block < count; ++block) {
                float* const to = band.component[i].block(blockLayout(i), first + block, 8);
                for (unsigned int row = 0; row < 8; ++row)
                    EightFloats<target>::load(scratch.samples[i][block][row]).store(to + row * SamplePlane::kPitch);
            }
        }
    }
}

template <OptimizationTarget target>
template <unsigned int side>
void Slice<target>::samplesOfCorners(ComponentScan const scans[3], SampleBand& band) const {
    const SliceMatrices<target> matrices(*m_facts, qScale());
    alignas(64) std::int16_t samples[kMaxComponentBlocks][side][side];
    for (unsigned int i = 0; i < 3; ++i) {
        if constexpr (side == 1)
            samplesOfDcs(scans[i], (i == 0 ? m_facts->lumaMatrix : m_facts->chromaMatrix)[0], samples[0][0]);
        else
            cornersOf<side>(scans[i], i == 0 ? matrices.luma : matrices.chroma, samples);
        for (std::uint32_t block = 0; block < scans[i].numBlocks; ++block) {
            float* const to = band.component[i].block(blockLayout(i), block, side);
            for (unsigned int row = 0; row < side; ++row)
                for (unsigned int column = 0; column < side; ++column)
                    to[row * SamplePlane::kPitch + column] = samples[block][row][column];
        }
    }
}

// The mean of the samples that a pixel covers is exact: at most 64 of 16 bits, divided by a power of two.
template <OptimizationTarget target>
void Slice<target>::meansOfAlpha(std::uint16_t const* alpha, SampleBand& band) const {
    const std::uint32_t pitch = 16 * m_sliceMbs, width = m_facts->form.mbSize * m_sliceMbs;
    const std::uint32_t side = 16 / m_facts->form.mbSize;
    if (side == 1) {
        for (std::uint32_t line = 0; line < m_lines; ++line)
            for (std::uint32_t x = 0; x < width; x += 8)
                EightFloats<target>::ofWords(alpha + line * pitch + x).store(band.alpha.line[line] + x);
        return;
    }
    for (std::uint32_t line = 0; line < m_lines / side; ++line) {
        for (std::uint32_t x = 0; x < width; ++x) {
            std::uint32_t sum = 0;
            for (std::uint32_t i = 0; i < side; ++i)
                for (std::uint32_t j = 0; j < side; ++j)
                    sum += alpha[(line * side + i) * pitch + x * side + j];
            band.alpha.line[line][x] = static_cast<float>(sum) / static_cast<float>(side * side);
        }
    }
}

template <OptimizationTarget target>
SliceGroupForm SliceGroup<target>::formFor(OutputForm const& form, std::uint32_t mostSlices,
                                           LaneFunctions const* lanes) {
    // A row in a form of its own takes memory for its lines besides.
    static_assert(sizeof(RowMemory) + sizeof(SliceGroup) + kMaxSlicesInLanes * kMaxElements444 * sizeof(std::int16_t) <=
                  kMaxBytes);
    static_assert(kMaxReducedElements <= kMaxElements444);
    const bool isWhole = form.blockPart == BlockPart::Whole;
    SliceGroupForm groupForm;
    groupForm.elementsPerSlice = !isWhole ? kMaxReducedElements : form.is444 ? kMaxElements444 : kMaxElements422;
    groupForm.maxSlices = !isWhole ? kMaxReducedSlices : form.is444 ? kMaxSlices444 : kMaxSlices422;
    if (lanes != nullptr && 3 * std::uint64_t{mostSlices} >= kFewestLaneScans) {
        groupForm.maxSlices = kMaxSlicesInLanes;
        groupForm.lanes = lanes;
    }
    if (groupForm.maxSlices > mostSlices)
        groupForm.maxSlices = mostSlices > 0 ? mostSlices : 1;
    return groupForm;
}

template <OptimizationTarget target>
void SliceGroup<target>::add(PictureFacts const& facts, SliceInput const& input) {
    m_slices[m_count].open(facts, input);
    ++m_count;
}

// The first of the three components that failed, or SliceGroup::kNoComponent.
static inline std::uint32_t firstFailed(ComponentScan const scans[3]) {
    std::uint32_t component = 0;
    while (component < 3 && scans[component].succeeded)
        ++component;
    return component;
}

template <OptimizationTarget target>
void SliceGroup<target>::scan(Scans& scans) {
    std::int16_t* next = coefficients();
    for (unsigned int i = 0; i < m_count; ++i)
        next = m_slices[i].prepareScans(scans + 3 * i, next);
    scanComponents<target>(scans, 3 * m_count, m_form.lanes == nullptr ? nullptr : m_form.lanes->scan);
    for (unsigned int i = 0; i < m_count; ++i)
        m_failedComponents[i] = firstFailed(scans + 3 * i);
}

template <OptimizationTarget target>
void SliceGroup<target>::scanAlpha(unsigned int first, unsigned int count, std::uint16_t const** alpha) {
    AlphaPlane planes[kMaxAlphaPlanes];
    unsigned int numPlanes = 0;
    for (unsigned int i = 0; i < count; ++i) {
        if (m_failedComponents[first + i] != kNoComponent || !m_slices[first + i].needsAlpha())
            continue;
        alpha[i] = m_alpha[numPlanes];
        planes[numPlanes] = m_slices[first + i].alphaPlane(m_alpha[numPlanes]);
        ++numPlanes;
    }
    if (numPlanes != 0)
        scanAlphaPlanes<target>(planes, numPlanes, m_slices[first].facts().codedAlphaBits,
                                m_form.lanes == nullptr ? nullptr : m_form.lanes->scanAlpha);
}

template <OptimizationTarget target>
template <class ReconstructSlice>
void SliceGroup<target>::forEachSlice(ReconstructSlice const& reconstructSlice) {
    // As many planes at a time as suit the reader, and about as many each time.
    const unsigned int most = m_form.lanes == nullptr ? kFewAlphaPlanes : kMaxAlphaPlanes;
    const unsigned int numTimes = (m_count + most - 1) / most;
    for (unsigned int time = 0; time < numTimes; ++time) {
        const unsigned int first = m_count * time / numTimes, count = m_count * (time + 1) / numTimes - first;
        std::uint16_t const* alpha[kMaxAlphaPlanes] = {};
        scanAlpha(first, count, alpha);
        for (unsigned int i = 0; i < count; ++i)
            reconstructSlice(first + i, alpha[i]);
    }
}

template <OptimizationTarget target>
void SliceGroup<target>::decode() {
    Scans scans;
    scan(scans);
    forEachSlice([&](unsigned int i, std::uint16_t const* alpha) {
        if (m_failedComponents[i] == kNoComponent)
            m_slices[i].pixelReconstruction(scans + 3 * i, alpha, m_scratch);
    });
    PixelRows<target>::finishStores();
}

template <OptimizationTarget target>
void SliceGroup<target>::decodeInto(FormedRow<target>& row, RowStart const& nextRow) {
    Scans scans;
    scan(scans);
    std::uint32_t startOfNext = nextRow.index;
    forEachSlice([&](unsigned int i, std::uint16_t const* alpha) {
        if (i == startOfNext) {
            nextRow.beginRow(nextRow.context);
            startOfNext += nextRow.slicesPerRow;
        }
        if (m_failedComponents[i] == kNoComponent)
            reconstructInto(row, m_slices[i], scans + 3 * i, alpha);
        else
            row.skip(m_slices[i].sizeInMb());
    });
}

template <OptimizationTarget target>
void SliceGroup<target>::reconstructInto(FormedRow<target>& row, Slice<target> const& slice,
                                         ComponentScan const scans[3], std::uint16_t const* alpha) {
    if (row.takesSamples()) {
        slice.sampleReconstruction(scans, alpha, m_scratch, row.band());
        row.takeSamples(slice.sizeInMb());
        return;
    }
    SlicePlanes planes;
    if (slice.facts().reconstruction != ReconstructionForm::Plain && row.takePlanes(slice.sizeInMb(), planes)) {
        slice.planarReconstruction(scans, planes);
        return;
    }
    slice.pixelReconstruction(scans, alpha, m_scratch);
    row.takeCodes(slice.sizeInMb());
}
