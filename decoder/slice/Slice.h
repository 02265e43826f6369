#pragma once

#include <cstddef>
#include <cstdint>

#include "AlphaScan.h"
#include "BlockGather.h"
#include "CoefficientScan.h"
#include "FormedRow.h"
#include "LaneScan.h"
#include "PictureFacts.h"
#include "Slice4444MacroblockWriter.h"
#include "SliceGroupForm.h"
#include "SliceHeader.h"
#include "SlicePlanes.h"
#include "Targets.h"

// The number of set bits of n - 1 for a power of two n, which is log2(n). Baseline counts the run of set bits from bit
// 0 on, AVX2 all set bits; for n - 1 the two agree.
template <OptimizationTarget target>
unsigned int countBits(std::uint32_t mask);

// Memory that one slice after the other uses while it is reconstructed. Too large for the stacks of some hosts'
// threads.
template <OptimizationTarget target>
struct SliceScratch {
    static constexpr unsigned int kMaxComponentBlocks = 32; // 8 macroblocks
    // A few macroblocks at a time: enough to make up for the start of a transform call, few enough for the samples to
    // stay in the first-level cache until they are written.
    static constexpr unsigned int kMbsAtOnce = 4;

    alignas(64) std::int16_t raster[3][kMaxComponentBlocks * 64 + kGatherPadding];
    alignas(64) float samples[3][kMbsAtOnce * 4][8][8];
};

template <OptimizationTarget target>
struct SliceMatrices;
template <OptimizationTarget target>
struct VerticalPlans;
template <OptimizationTarget target>
struct VerticalSlice;
struct VerticalOutput;

// One slice of a picture, as its picture gives it.
struct SliceInput {
    PixelBuffer rectangle;       // of the output
    Bitstream bits;              // from the slice's first byte to the end of the data
    std::uint32_t codedSize = 0; // bytes, according to the slice table
    std::uint32_t sizeInMb = 0;  // 1, 2, 4 or 8
    std::uint32_t lines = 0;     // at full size: 16, or fewer in the last row
};

// The unit of parallel work: up to 8 macroblocks of one macroblock row, with their own bytes.
//
// A damaged slice is no error: if a component fails to decode, nothing of the slice is written. Sizes that reach
// beyond the data are ranges that end early.
template <OptimizationTarget target>
class Slice {
public:
    using CoefFloat = float;

    static constexpr unsigned int kMaxComponentBlocks = SliceScratch<target>::kMaxComponentBlocks;

    Slice() = default;

    ~Slice();

    Slice(Slice const&) = delete;
    Slice& operator=(Slice const&) = delete;

    // Builds the writer of the slice's rectangle and parses the slice header. `facts` outlive the slice. Called once.
    void open(PictureFacts const& facts, SliceInput const& input);

    // The scans of Y, Cb and Cr from the cursor on, with their coefficients laid out from `coefficients` on and
    // kScanPadding after each component. Leaves the cursor after Cr and returns the end of that memory.
    std::int16_t* prepareScans(ComponentScan scans[3], std::int16_t* coefficients);

    // Whether the output depends on the slice's alpha plane, which is at the cursor.
    bool needsAlpha() const;

    // The alpha plane at the cursor, to be decoded to `samples`.
    AlphaPlane alphaPlane(std::uint16_t* samples) const;

    // Transforms the blocks and writes the pixels. The scans have succeeded, and `alpha` holds the samples of the plane
    // if the slice needs it.
    void pixelReconstruction(ComponentScan const scans[3], std::uint16_t const* alpha,
                             SliceScratch<target>& scratch) const;

    // The same to planes: of 4:2:2 in the vertical form, without a macroblock that is clipped at the right.
    void planarReconstruction(ComponentScan const scans[3], SlicePlanes const& to) const;

    // Transforms the blocks to samples at full or reduced size, and takes over those of the alpha plane, or their
    // means. Blocks of all macroblocks are at their places, whatever of them is in the picture.
    void sampleReconstruction(ComponentScan const scans[3], std::uint16_t const* alpha, SliceScratch<target>& scratch,
                              SampleBand& band) const;

    // Reads one component at the cursor into block order. The cursor does not move: moveCursor advances it to the next
    // component. Frames do not use this; they take the scans of prepareScans, several slices at once.
    bool scanned_coefficients(std::int16_t* coefficients, std::uint32_t numBlocks, std::uint64_t numBytes,
                              std::uint32_t log2NumBlocks) const;

    // Moves the cursor by the smaller of `numBytes` and what remains.
    void moveCursor(std::uint64_t numBytes) { m_bitstream.advance(numBytes); }

    // Reads Y, Cb and Cr into block order at full size, whatever the reduction, and reports nothing. The three arrays
    // are contiguous, and numChromaBlocks must not exceed numYBlocks. On valid data the result is that of three calls
    // of scanned_coefficients; values whose position is outside their array are dropped. The cursor does not move.
    // Frames do not use it (ThreeStreamScan.h).
    void scanned_coefficients3(std::int16_t* yCoefficients, std::uint32_t numYBlocks, std::uint64_t numYBytes,
                               std::int16_t* cbCoefficients, std::uint32_t numChromaBlocks, std::uint64_t numCbBytes,
                               std::int16_t* crCoefficients, std::uint64_t numCrBytes, std::uint32_t log2NumYBlocks,
                               std::uint32_t log2NumChromaBlocks) const;

    // Fills the alpha samples of the slice from the cursor on. Frames do not come this way; they decode the planes of
    // alphaPlane, several slices at once.
    void scanned_alpha(std::uint16_t* samples, std::uint32_t numSamples) const;

    PictureFacts const& facts() const { return *m_facts; }
    std::uint32_t sizeInMb() const { return m_sliceMbs; }
    std::uint32_t quantizationIndex() const { return m_header.quantization_index; }

private:
    using Writer = SliceMacroblockWriter<target, float>;

    // Builds the writer in m_writerMemory.
    Writer const* createSliceMacroblockWriter(PixelBuffer const& rectangle);
    std::uint32_t alphaSamples() const { return m_sliceMbs * 16 * m_lines; }
    std::uint32_t lumaBlocks() const { return 4 * m_sliceMbs; }
    std::uint32_t chromaBlocks() const { return m_facts->form.chromaBlocksPerMb * m_sliceMbs; }
    ComponentScan scanAtCursor(std::int16_t* coefficients, std::uint32_t numBlocks, std::uint64_t numBytes,
                               std::uint32_t log2NumBlocks) const;
    CoefFloat qScale() const;

    BlockLayout blockLayout(unsigned int component) const;
    void samplesOfWholeBlocks(ComponentScan const scans[3], SliceScratch<target>& scratch, SampleBand& band) const;
    template <unsigned int side>
    void samplesOfCorners(ComponentScan const scans[3], SampleBand& band) const;
    template <unsigned int side>
    void cornersOf(ComponentScan const& scan, const float* matrix, std::int16_t (*samples)[side][side]) const;
    void samplesOfDcs(ComponentScan const& scan, float matrixDc, std::int16_t* samples) const;
    void meansOfAlpha(std::uint16_t const* alpha, SampleBand& band) const;
    void reconstructFull(ComponentScan const scans[3], std::uint16_t const* alpha, SliceScratch<target>& scratch) const;
    void samplesPlainly(ComponentScan const scans[3], SliceMatrices<target> const& matrices,
                        SliceScratch<target>& scratch, SampleBand& band) const;
    VerticalSlice<target> wholeSlice(ComponentScan const scans[3], VerticalPlans<target> const& plans) const;
    VerticalSlice<target> verticalSlice(ComponentScan const scans[3], VerticalPlans<target> const& plans) const;
    void writeInForm(VerticalSlice<target> const& slice, VerticalOutput const& output) const;
    std::uint32_t reconstructVertically(ComponentScan const scans[3], std::uint16_t const* alpha,
                                        SliceMatrices<target> const& matrices) const;
    void reconstructPlainly(ComponentScan const scans[3], std::uint16_t const* alpha,
                            SliceMatrices<target> const& matrices, std::uint32_t firstMb,
                            SliceScratch<target>& scratch) const;
    template <unsigned int side>
    void reconstructCorners(ComponentScan const scans[3], std::uint16_t const* alpha) const;
    void reconstructEighth(ComponentScan const scans[3], std::uint16_t const* alpha) const;

    SliceHeader m_header;
    PictureFacts const* m_facts = nullptr;
    std::uint32_t m_codedSize = 0; // bytes, according to the slice table
    std::uint32_t m_sliceMbs = 0;  // 1, 2, 4 or 8
    std::uint32_t m_lines = 0;     // at full size
    Bitstream m_bitstream;         // the cursor: at the Y range once the slice is open
    Writer const* m_writer = nullptr;
    // A writer of any kind: the one with an alpha plane is the largest.
    using LargestWriter = Slice4444MacroblockWriter<target, float>;
    alignas(LargestWriter) unsigned char m_writerMemory[sizeof(LargestWriter)];
};

// Neighbouring slices of one row, decoded together: their components are independent streams of symbols, and several
// streams side by side hide the latency that bounds a single one.
template <OptimizationTarget target>
class SliceGroup {
public:
    // The most slices of a group whose components are read a few at a time: as many as a cache holds.
    static constexpr unsigned int kMaxSlices422 = 6;
    static constexpr unsigned int kMaxSlices444 = 4;
    static constexpr unsigned int kMaxReducedSlices = 10;
    // Of one for the scan in lanes, which wants many components: a row of 4096 pixels in the largest slices.
    static constexpr unsigned int kMaxSlicesInLanes = kMaxLaneScans / 3;
    // With fewer the lanes stay empty for longer than other threads would wait.
    static constexpr unsigned int kLeastSlicesInLanes = 15;

    // The groups of a picture, of at most `mostSlices` slices that follow each other. They are small where no lanes are
    // given, or these are too few for them.
    static SliceGroupForm formFor(OutputForm const& form, std::uint32_t mostSlices, LaneFunctions const* lanes);

    // The memory for a group and its coefficients, at most kMaxBytes.
    static std::size_t bytes(SliceGroupForm const& form) {
        return sizeof(SliceGroup) + std::size_t{form.maxSlices} * form.elementsPerSlice * sizeof(std::int16_t);
    }

    // The most memory that a thread may take for its groups.
    static constexpr std::size_t kMaxBytes = 1024 * 1024;

    // Into memory of the form's bytes and of the group's alignment. A member, so that units for other instructions
    // share none with the rest.
    static void* operator new(std::size_t, void* memory) noexcept { return memory; }
    static void operator delete(void*, void*) noexcept {}

    explicit SliceGroup(SliceGroupForm const& form) : m_form(form) {}
    SliceGroup(SliceGroup const&) = delete;
    SliceGroup& operator=(SliceGroup const&) = delete;

    // At most form.maxSlices slices of one picture.
    void add(PictureFacts const& facts, SliceInput const& input);
    void decode();
    // The same for slices that are added to rows in a form of their own, in their order. Before the slice with this
    // index `beginRow` is called, and again after every `slicesPerRow` slices.
    struct RowStart {
        void (*beginRow)(void* context);
        void* context;
        std::uint32_t index;
        std::uint32_t slicesPerRow;
    };
    void decodeInto(FormedRow<target>& row, RowStart const& nextRow);

    // The results of the slices, in the order in which they were added.
    std::uint32_t numSlices() const { return m_count; }
    static constexpr std::uint32_t kNoComponent = 3;
    // The first component of a slice that failed: 0 Y, 1 Cb, 2 Cr, or kNoComponent. A slice that failed wrote nothing.
    std::uint32_t failedComponent(std::uint32_t index) const { return m_failedComponents[index]; }

private:
    using Scans = ComponentScan[3 * kMaxSlicesInLanes];

    // Reads the coefficients of all slices.
    void scan(Scans& scans);
    // Decodes the alpha planes of some slices of the group where they are needed.
    void scanAlpha(unsigned int first, unsigned int count, std::uint16_t const** alpha);
    // Reconstructs a slice of the group by way of the row's memory.
    void reconstructInto(FormedRow<target>& row, Slice<target> const& slice, ComponentScan const scans[3],
                         std::uint16_t const* alpha);
    // Calls reconstructSlice(index, alpha) for all slices in their order, a few of them after their alpha planes.
    template <class ReconstructSlice>
    void forEachSlice(ReconstructSlice const& reconstructSlice);

    static constexpr unsigned int kMaxElements422 = 2 * 32 * 64 + 3 * kScanPadding;
    static constexpr unsigned int kMaxElements444 = 3 * 32 * 64 + 3 * kScanPadding;
    static constexpr unsigned int kMaxReducedElements = 3 * 32 * 16 + 3 * kScanPadding;

    // It follows the group, whose size is a multiple of its alignment.
    std::int16_t* coefficients() { return reinterpret_cast<std::int16_t*>(this + 1); }

    SliceGroupForm m_form;
    std::uint32_t m_count = 0;
    std::uint32_t m_failedComponents[kMaxSlicesInLanes];
    Slice<target> m_slices[kMaxSlicesInLanes];
    SliceScratch<target> m_scratch;

    // Alpha planes of several slices are read side by side: as many as there are lanes, or a few that stay in a cache.
    static constexpr unsigned int kMaxAlphaPlanes = 16;
    static constexpr unsigned int kFewAlphaPlanes = 4;
    static constexpr unsigned int kMaxAlphaSamples = 8 * 16 * 16 + kAlphaPadding;
    std::uint16_t m_alpha[kMaxAlphaPlanes][kMaxAlphaSamples];
};

// A group in memory that one group after the other uses. Groups are too large for the stacks of some hosts' threads.
template <OptimizationTarget target>
class PlacedSliceGroup {
public:
    PlacedSliceGroup(void* memory, SliceGroupForm const& form) : m_group(*new (memory) SliceGroup<target>(form)) {}
    ~PlacedSliceGroup() { m_group.~SliceGroup(); }
    PlacedSliceGroup(PlacedSliceGroup const&) = delete;
    PlacedSliceGroup& operator=(PlacedSliceGroup const&) = delete;

    SliceGroup<target>& group() const { return m_group; }

private:
    SliceGroup<target>& m_group;
};

RAVELO_INSTANCES_ELSEWHERE(Slice);
RAVELO_INSTANCES_ELSEWHERE(SliceGroup);
