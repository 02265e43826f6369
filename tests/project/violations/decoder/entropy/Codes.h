#pragma once

#include "PixelBuffer.h"
#include "Writer.h"
