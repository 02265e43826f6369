#pragma once

// Whether the system would start `numThreads` more threads now, all at the same time. It starts and joins them to find
// out. Throws std::bad_alloc when there is no memory for the attempt.
bool canStartThreads(unsigned numThreads);
