#include "SlowCanvas.h"

#include <algorithm>
#include <cstring>

SlowCanvas::SlowCanvas(std::int64_t lowestOffset, std::uint64_t numBytes, std::uint8_t fill)
    : m_lowestOffset(lowestOffset), m_values(numBytes, fill), m_bytes(numBytes) {}

SlowCanvas::SlowCanvas(std::int64_t lowestOffset, std::vector<std::uint8_t> const& before)
    : m_lowestOffset(lowestOffset), m_values(before), m_bytes(before.size()) {}

void SlowCanvas::beginSlice(std::uint32_t pictureIndex, std::uint32_t sliceIndex) {
    m_picture = pictureIndex;
    m_slice = sliceIndex;
}

SlowCanvas::Owner* SlowCanvas::take(std::int64_t offset) {
    const std::uint64_t index = static_cast<std::uint64_t>(offset - m_lowestOffset);
    if (offset < m_lowestOffset || index >= m_bytes.size()) {
        ++m_numStoresOutside;
        return nullptr;
    }
    Owner& owner = m_bytes[index];
    if (owner.picture != m_picture) {
        m_alternatives.erase(index);
        owner = {m_picture, m_slice, false};
    } else if (owner.slice != m_slice) {
        m_alternatives[index].push_back(m_values[index]);
        owner.slice = m_slice;
    }
    return &owner;
}

void SlowCanvas::store8(std::int64_t offset, std::uint8_t value) {
    if (take(offset) != nullptr)
        m_values[static_cast<std::size_t>(offset - m_lowestOffset)] = value;
}

void SlowCanvas::store16(std::int64_t offset, std::uint16_t value) {
    std::uint8_t bytes[2];
    std::memcpy(bytes, &value, sizeof(bytes));
    store8(offset, bytes[0]);
    store8(offset + 1, bytes[1]);
}

void SlowCanvas::storeAnything(std::int64_t offset) {
    if (Owner* owner = take(offset))
        owner->holdsAnything = true;
}

bool SlowCanvas::isWritten(std::int64_t offset) const {
    const std::uint64_t index = static_cast<std::uint64_t>(offset - m_lowestOffset);
    return index < m_bytes.size() && m_bytes[index].picture != kNobody;
}

bool SlowCanvas::allows(std::int64_t offset, std::uint8_t value) const {
    const std::uint64_t index = static_cast<std::uint64_t>(offset - m_lowestOffset);
    if (m_values[index] == value || m_bytes[index].holdsAnything)
        return true;
    const auto found = m_alternatives.find(index);
    return found != m_alternatives.end() &&
           std::find(found->second.begin(), found->second.end(), value) != found->second.end();
}
