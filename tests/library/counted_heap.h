#ifndef OXEL_TESTS_COUNTED_HEAP_H
#define OXEL_TESTS_COUNTED_HEAP_H

/// The heap as the library's objects see it, in programs that are linked to go through it.
extern int succeeding_allocations; // until one fails; -1: all succeed
extern int live_allocations;

#endif
