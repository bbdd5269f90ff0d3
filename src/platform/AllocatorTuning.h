#pragma once

namespace mnemora {

// Asks the C library's allocator to keep memory a process frees for its next use instead of
// handing it straight back to the kernel. Every save of a long document builds and drops a few
// megabytes of blocks; by default that memory is returned at once and each page faults in anew on
// the next save, which doubled the cost of saving a 10,000-line file on a virtual machine. What is
// kept is bounded: past `keptMegabytes` of free memory the allocator trims again, and single
// allocations of `mappedFromMegabytes` or more still get pages of their own that go back when
// freed. Call it once, early, before other threads start. Returns false when the allocator refused.
bool keepFreedMemoryForReuse(int keptMegabytes = 64, int mappedFromMegabytes = 16);

} // namespace mnemora
