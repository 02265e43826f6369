#include "CommandLine.h"
#include "Slice.h"
