#ifndef TESTS_SUPPORT_FAILING_ALLOCATION_H
#define TESTS_SUPPORT_FAILING_ALLOCATION_H

/// While it lives, the allocator of the program fails after a number of further allocations.
/// A test program that uses it includes failing_allocation.inc in one of its sources.
class FailingAllocation {
 public:
  explicit FailingAllocation(long allocationsBefore);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
};

#endif  // TESTS_SUPPORT_FAILING_ALLOCATION_H
