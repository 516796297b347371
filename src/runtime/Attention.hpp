// What makes the evaluator look up from its work: the step budget and the reasons to stop or collect.
#pragma once

#include <atomic>
#include <cstdint>

namespace velmar::lua
{

// Every step (statement, call, loop iteration) counts `countdown` down and is serviced when it reaches
// zero: the budget refills it from `stepsBeyond`, and the `reasons` are acted on. A step therefore
// tests one counter, not the counter and the reasons. A reason raised on the evaluator's own thread
// (a collection due, an interrupt seen after a host function returns) ends the countdown at once, so
// the very next step acts on it; an interrupt from another thread or a signal handler only sets its
// bit, which the next service sees: the countdown never holds more than kServiceInterval steps, a
// fraction of a millisecond of work.
struct Attention
{
    static constexpr std::uint64_t kServiceInterval = 1024;
    static constexpr std::uint8_t kInterrupt = 1;
    static constexpr std::uint8_t kCollectionDue = 2;

    // countdown + stepsBeyond: the steps a run may still take plus one (the step that brings it to 0
    // fails). Unbounded runs start with 2^64 - 1.
    std::uint64_t countdown = kServiceInterval;
    std::uint64_t stepsBeyond = ~std::uint64_t{0} - kServiceInterval;
    std::atomic<std::uint8_t> reasons{0}; // set from any thread

    void setBudget(std::uint64_t total) noexcept
    {
        countdown = total < kServiceInterval ? total : kServiceInterval;
        stepsBeyond = total - countdown;
    }
    // Takes `steps` at once (work one step does not cover); false when they are more than the budget
    // holds, which is then used up.
    bool take(std::uint64_t steps) noexcept
    {
        if (steps >= countdown + stepsBeyond)
        {
            countdown = 0;
            stepsBeyond = 0;
            return false;
        }
        if (steps < countdown)
        {
            countdown -= steps;
        }
        else
        {
            stepsBeyond -= steps - (countdown - 1);
            countdown = 1;
        }
        return true;
    }
    // At a service, the countdown having run out: refills it from the rest of the budget; false when
    // nothing is left (the budget then stays exhausted until the next run sets it).
    bool refill() noexcept
    {
        if (stepsBeyond == 0)
        {
            countdown = 1;
            return false;
        }
        setBudget(stepsBeyond);
        return true;
    }
    // On the evaluator's thread: the next step is serviced. The steps the countdown held go back to
    // stepsBeyond, so the budget is unchanged.
    void serviceNextStep() noexcept
    {
        if (countdown > 1)
        {
            stepsBeyond += countdown - 1;
            countdown = 1;
        }
    }
    void raiseHere(std::uint8_t reason) noexcept
    {
        reasons.fetch_or(reason, std::memory_order_relaxed);
        serviceNextStep();
    }
    // On the evaluator's thread, after code that may have raised a reason from elsewhere (a host
    // function that interrupted its own interpreter): the next step acts on it.
    void noticeRaised() noexcept
    {
        if (reasons.load(std::memory_order_relaxed) != 0)
        {
            serviceNextStep();
        }
    }
};

} // namespace velmar::lua
