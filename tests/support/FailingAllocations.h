#pragma once

// Allocations that fail when a test wants it. An executable that links ravelo_failing_allocations has its operator new
// replaced, also for the libraries that it loads, so it should hold nothing but the tests that need this.

// Lets the allocation of this number, counted from 0 and from now, throw std::bad_alloc; the others succeed.
void planAllocationFailure(long number);

// Takes a failure back that has not come about. Whether the last planned one has.
void endAllocationFailure();
bool hasAllocationFailed();

// Blocks that were allocated and not freed yet.
long numLiveAllocations();
