#pragma once

#include <vector>

// The middle value, or the mean of the two middle ones. `values` must not be empty.
double median(std::vector<double> values);
