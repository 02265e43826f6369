#include "RgbImage.h"

#include <algorithm>
#include <cstring>

RgbImage rgbImageOf(DecodedFrame const& frame, RgbForm const& form) {
    RgbRows rows(frame, form);
    RgbImage image;
    image.width = rows.width();
    image.height = rows.height();
    image.channels = rows.channels();
    image.maxValue = rows.maxValue();
    image.samples.resize(rows.bytes() / rows.bytesPerSample());
    const std::size_t samplesPerRow = rows.rowBytes() / rows.bytesPerSample();
    std::vector<std::uint8_t> row(rows.rowBytes());
    for (std::uint32_t y = 0; y < image.height; ++y) {
        rows.copyRow(y, row.data());
        std::uint16_t* const target = image.samples.data() + y * samplesPerRow;
        if (rows.bytesPerSample() == 1)
            std::copy(row.begin(), row.end(), target);
        else if (!row.empty())
            std::memcpy(target, row.data(), row.size());
    }
    return image;
}
