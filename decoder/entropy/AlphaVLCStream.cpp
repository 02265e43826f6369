#include "AlphaVLCStream_Impl.h"

// All instances are here: alpha decoding uses no instruction that the targets differ in.
#define RAVELO_ALPHA_INSTANCE(target) template class AlphaVLCStream<target>;

RAVELO_FOR_EACH_TARGET(RAVELO_ALPHA_INSTANCE)
