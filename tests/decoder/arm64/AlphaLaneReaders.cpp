#include "AlphaLaneReaders.h"

std::vector<AlphaLaneFunction*> alphaLaneReaders() {
    return {};
}
