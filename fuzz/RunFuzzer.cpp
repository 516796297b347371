// Runs arbitrary bytes as a script in a fresh VM, with bounded work and memory: every run must end in
// a result, never an escaping exception, a crash or a sanitizer report, and leave the VM usable.
#include "FuzzHost.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::SealedHost host;
    velmar::lua::LuaVM vm;
    vm.setStepLimit(fuzz::kStepBudget);
    if (size % 2 == 1)
    {
        vm.setMemoryLimit(fuzz::kMemoryBudget);
    }
    const std::string source(reinterpret_cast<const char*>(data), size);
    velmar::lua::LuaResult result;
    {
        fuzz::AllocationCap cap;
        result = vm.runScriptString(source, "fuzz.lua");
    }
    fuzz::requireCleanOutcome(vm, result, "fuzz.lua");
    return 0;
}
