#include "Codes.h"
#include "Picture.h"
#include "Slice.h"
#include "Writer.h"
