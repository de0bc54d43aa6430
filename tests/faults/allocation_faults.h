#pragma once

#include <cstdint>

// Fails the n-th call of operator new on any thread, counted while this runs, and those after it,
// `count` in all. Begins paused. Has no effect under TSan, whose runtime has its own operators that
// can't be replaced.
namespace allocation_faults {

void Set(int64_t n, int64_t count);
void Run();
void Pause();
int64_t Count();  // the calls since Set

}  // namespace allocation_faults
