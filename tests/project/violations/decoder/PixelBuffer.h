#pragma once

#include <immintrin.h>

#include "Slice.h"
