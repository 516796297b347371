// The library's small backtracking regex matcher: no groups, no alternation, interpreted straight from its text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zq
{

// A pattern kept verbatim; there is no compile step, so building one costs only the string.
class regex
{
public:
    // Flag bit 0: ASCII letters compare without regard to case.
    static constexpr unsigned icase = 1u;

    regex() = default;
    explicit regex(std::string pattern, unsigned flags = 0) : pattern_(std::move(pattern)), flags_(flags) {}

    const std::string& pattern() const noexcept { return pattern_; }
    unsigned flags() const noexcept { return flags_; }

private:
    std::string pattern_;
    unsigned flags_ = 0;
};

// The matcher's work, reported so that a caller can bound it. A search adds 16 units for every byte of
// text it tests against an atom and for every position where it tries the rest of the pattern, and one
// for every byte it skips with a plain byte search; callers may add units of their own (one per byte
// they produce). Every full units_per_step units reach spend(), which may throw to abandon the search;
// a remainder carries over to the next search through the same budget.
class regex_budget
{
public:
    static constexpr std::uint64_t units_per_step = 1024;

    void add(std::uint64_t units)
    {
        pending_ += units;
        if (pending_ >= units_per_step) [[unlikely]]
        {
            settle();
        }
    }

protected:
    regex_budget() = default;
    regex_budget(const regex_budget&) = default;
    regex_budget& operator=(const regex_budget&) = default;
    ~regex_budget() = default;

    virtual void spend(std::uint64_t steps) = 0;

private:
    void settle()
    {
        const std::uint64_t steps = pending_ / units_per_step;
        pending_ %= units_per_step;
        spend(steps);
    }

    std::uint64_t pending_ = 0;
};

// A budget that bounds nothing.
class unbounded_budget final : public regex_budget
{
    void spend(std::uint64_t) override {}
};

// One matched range of the searched text; `second` is exclusive.
struct sub_match
{
    const char* first = nullptr;
    const char* second = nullptr;
    bool matched = false;

    std::size_t length() const noexcept { return matched ? static_cast<std::size_t>(second - first) : 0; }
    std::string_view view() const noexcept { return matched ? std::string_view(first, length()) : std::string_view(); }
    std::string str() const { return std::string(view()); }
};

// The outcome of a search: the searched range and, after a success, exactly one entry (the whole match).
// The entry vector is reused, so repeated searches into the same object do not allocate.
class match_results
{
public:
    std::size_t size() const noexcept { return entries_.size(); }
    bool empty() const noexcept { return entries_.empty(); }

    // Entries past the end read as unmatched, so callers may probe any index.
    const sub_match& operator[](std::size_t i) const noexcept { return i < entries_.size() ? entries_[i] : kUnmatched; }
    std::string str(std::size_t i = 0) const { return (*this)[i].str(); }
    std::size_t length(std::size_t i = 0) const noexcept { return (*this)[i].length(); }
    // Offset of entry i from the start of the searched range.
    std::size_t position(std::size_t i = 0) const noexcept
    {
        const sub_match& entry = (*this)[i];
        return entry.matched ? static_cast<std::size_t>(entry.first - searchFirst_) : 0;
    }

    // The searched text before and after the whole match.
    sub_match prefix() const noexcept;
    sub_match suffix() const noexcept;

    const char* searchBegin() const noexcept { return searchFirst_; }
    const char* searchEnd() const noexcept { return searchLast_; }

private:
    friend bool regex_search(const char* first, const char* last, match_results& results, const regex& re,
                             regex_budget* budget);

    static constexpr sub_match kUnmatched{};

    const char* searchFirst_ = nullptr;
    const char* searchLast_ = nullptr;
    std::vector<sub_match> entries_;
};

// Searches [first, last) for the first position where the pattern matches; `first` is the start of the text,
// so a leading `^` anchors there. On failure the results hold no entry. Throws runtime_error("stack overflow")
// when the backtracking would exhaust the thread's stack. A null budget leaves the work unbounded.
bool regex_search(const char* first, const char* last, match_results& results, const regex& re,
                  regex_budget* budget = nullptr);

inline bool regex_search(std::string_view text, match_results& results, const regex& re,
                         regex_budget* budget = nullptr)
{
    return regex_search(text.data(), text.data() + text.size(), results, re, budget);
}

// Walks successive matches of [first, last) until atEnd(). Each step searches afresh from where the last
// match ended (one byte further after an empty match), so a leading `^` anchors every step. Holds the
// regex by address.
class sregex_iterator
{
public:
    // Every search reports its work to `budget` (when not null), which must outlive the iterator.
    sregex_iterator(const char* first, const char* last, const regex& re, regex_budget* budget = nullptr);
    sregex_iterator(const char* first, const char* last, regex&& re, regex_budget* budget = nullptr) = delete;

    sregex_iterator& operator++();
    bool atEnd() const noexcept { return atEnd_; }

    const match_results& operator*() const noexcept { return match_; }
    const match_results* operator->() const noexcept { return &match_; }

private:
    void search();

    const char* position_ = nullptr;
    const char* last_ = nullptr;
    const regex* regex_ = nullptr;
    regex_budget* budget_ = nullptr;
    match_results match_;
    bool atEnd_ = true;
};

} // namespace zq
