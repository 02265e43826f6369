#pragma once

#include <vector>

#include "AlphaScan.h"

// The readers of alpha planes in lanes that this processor can run, real ones and emulated ones.
std::vector<AlphaLaneFunction*> alphaLaneReaders();
