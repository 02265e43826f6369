#include "Slice.h"
