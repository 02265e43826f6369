#include "DecodeMonitor.h"

DecodeMonitor::~DecodeMonitor() = default;

bool DecodeMonitor::wantsStop() noexcept {
    return false;
}

void DecodeMonitor::sliceFailed(SliceFailure const&, PixelBuffer const&) noexcept {}
