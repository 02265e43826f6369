#include "FrameShape.h"

#include <algorithm>

PictureLines FrameShape::pictureLines(std::uint32_t pictureIndex) const {
    if (interlace_mode == 0)
        return {vertical_size, 0, 1};
    // The even field alone leaves out the last line of an odd height.
    if (interlace_mode == 3)
        return {vertical_size / 2, 0, 2};
    const bool isEvenField = pictureIndex + 1 == interlace_mode;
    return isEvenField ? PictureLines{(vertical_size + 1) / 2, 0, 2} : PictureLines{vertical_size / 2, 1, 2};
}

std::vector<std::uint32_t> FrameShape::sliceSizesInMb() const {
    std::vector<std::uint32_t> sizes;
    std::uint32_t left = widthInMb();
    for (std::uint32_t size = 1u << log2_slice_size_in_mb; left > 0; size >>= 1) {
        sizes.insert(sizes.end(), left / size, size);
        left %= size;
    }
    return sizes;
}

std::vector<SliceShape> FrameShape::slices() const {
    const std::vector<std::uint32_t> sizes = sliceSizesInMb();
    std::vector<SliceShape> shapes;
    for (std::uint32_t pictureIndex = 0; pictureIndex < numPictures(); ++pictureIndex) {
        const std::uint32_t height = pictureLines(pictureIndex).height;
        for (std::uint32_t mbRow = 0; mbRow < heightInMb(pictureIndex); ++mbRow) {
            const std::uint32_t rows = std::min(16u, height - 16 * mbRow);
            std::uint32_t firstMb = 0;
            for (std::uint32_t column = 0; column < sizes.size(); ++column) {
                const std::uint32_t sliceMbs = sizes[column];
                shapes.push_back({pictureIndex, mbRow, column, firstMb, sliceMbs, 4 * sliceMbs,
                                  chromaBlocksPerMb() * sliceMbs, alphaBits == 0 ? 0 : sliceMbs * 16 * rows});
                firstMb += sliceMbs;
            }
        }
    }
    return shapes;
}
