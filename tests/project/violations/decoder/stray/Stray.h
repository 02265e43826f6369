#pragma once

#include "PixelBuffer.h"
