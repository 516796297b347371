// What every harness shares: a sealed host (no real files, console or commands), a cap on the memory
// a run may take, a step budget, and the invariants every outcome must meet.
#pragma once

#include <velmar/lua/LuaVM.hpp>

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz
{

// Installs the sealed host table for one input and checks on destruction that every file snapshot the
// library took was handed back exactly once. Create the VM inside its lifetime.
class SealedHost
{
public:
    SealedHost();
    ~SealedHost();
    SealedHost(const SealedHost&) = delete;
    SealedHost& operator=(const SealedHost&) = delete;
};

// While one exists, operator new fails with std::bad_alloc past kAllocationCap live bytes or a single
// request of kLargestAllocation, as a real machine eventually does; outside, nothing is capped.
class AllocationCap
{
public:
    static constexpr std::size_t kAllocationCap = std::size_t{192} << 20;
    static constexpr std::size_t kLargestAllocation = std::size_t{64} << 20;
    AllocationCap();
    ~AllocationCap();
    AllocationCap(const AllocationCap&) = delete;
    AllocationCap& operator=(const AllocationCap&) = delete;
};

// The step limit every harness runs scripts under: loops, recursion and library callbacks all end.
constexpr std::uint64_t kStepBudget = 10000;

// The memory limit that inputs of odd length run under (a byte more or less explores both paths):
// garbage collected at the allocation that would breach it, and "not enough memory" from the VM's own
// accounting rather than from the allocation cap.
constexpr std::size_t kMemoryBudget = std::size_t{1} << 20;

// Aborts with `what` when `condition` is false: a broken invariant is a finding like a crash.
void require(bool condition, const char* what, const std::string& detail = {});

// A successful run, or a failure whose message names `chunkName` (only the failures that carry no
// position may stand alone). Then the VM must still run a trivial chunk.
void requireCleanOutcome(velmar::lua::LuaVM& vm, const velmar::lua::LuaResult& result, const std::string& chunkName);

// The VM still runs a trivial chunk correctly.
void requireUsable(velmar::lua::LuaVM& vm);

} // namespace fuzz
