// Internal allocation seam. Every allocation that creating a denoiser makes
// goes through VdMalloc/VdCalloc so that tests can make the n-th one fail.
#ifndef VD_ALLOC_H_
#define VD_ALLOC_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

void* VdMalloc(size_t size);
void* VdCalloc(size_t count, size_t size);
void VdFree(void* ptr);

// Test hook: the allocation with index n (0 = the next one) and only that one
// fails; -1 disarms. Returns the number of allocations made since the last
// call, so a test can count how many allocations a call performs.
int VdAllocFailAt(int n);

#ifdef __cplusplus
}
#endif

#endif  // VD_ALLOC_H_
