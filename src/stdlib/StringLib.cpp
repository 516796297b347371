// The string library: sub, find, match, gmatch, gsub, format, rep and unpack over byte strings.
#include "runtime/Iterator.hpp"
#include "runtime/WorkMeter.hpp"
#include "stdlib/Library.hpp"
#include "stdlib/PatternMatch.hpp"
#include "support/NumberFormat.hpp"
#include "support/Regex.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

namespace velmar::lua
{
namespace
{

using Impl = LuaVM::Impl;

// Charges a pattern call's work (matcher units and bytes produced) to the run's step budget, so a step
// limit or an interrupt stops even one long search, at the call's line.
class StepBudget final : public zq::regex_budget
{
public:
    StepBudget(LuaVM& vm, std::uint32_t line) : vm_(Impl::of(vm)), line_(line) {}

private:
    void spend(std::uint64_t steps) override { vm_.spendSteps(steps, line_); }

    Impl& vm_;
    std::uint32_t line_;
};

// The shared part of find and match: subject, pattern and init checked in that order, then one search
// from max(init, 1) - 1. A negative init does not count from the end.
bool searchArguments(LuaVM& vm, const char* name, ValueSpan args, std::uint32_t line, bool plain,
                     PatternMatch& match)
{
    const Value& subject = Impl::requireString(name, args, 0, line);
    const Value& pattern = Impl::requireString(name, args, 1, line);
    std::size_t offset = 0;
    if (args.size() > 2)
    {
        const std::int64_t init = Impl::requireInteger(name, args, 2, line);
        offset = init < 1 ? 0 : static_cast<std::size_t>(init - 1);
    }
    StepBudget budget(vm, line);
    return findPattern(subject.stringView(), pattern.stringView(), offset, plain, match, &budget);
}

// One string per capture; the matcher has no groups, so in practice there are none.
void pushCaptures(const PatternMatch& match, MultiValue& results)
{
    for (const std::string& capture : match.captures)
    {
        results.push(Value(capture));
    }
}

MultiValue stringSub(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("string.sub", args.size(), 2, 3);
    const Value& subject = Impl::requireString("string.sub", args, 0, line);
    const std::int64_t i = Impl::requireInteger("string.sub", args, 1, line);
    const std::int64_t j = args.size() > 2 ? Impl::requireInteger("string.sub", args, 2, line) : -1;
    const std::string_view text = subject.stringView();
    const auto length = static_cast<std::int64_t>(text.size());
    if (length == 0)
    {
        return MultiValue(subject);
    }
    // Negative positions count from the end; both ends are clamped into the string.
    const std::int64_t start = std::max<std::int64_t>(i < 0 ? i + length + 1 : i, 1);
    const std::int64_t stop = std::min<std::int64_t>(j < 0 ? j + length + 1 : j, length);
    if (stop < start)
    {
        return MultiValue(Value(std::string_view()));
    }
    if (start == 1 && stop == length)
    {
        return MultiValue(subject); // the whole string: share it instead of copying
    }
    const auto size = static_cast<std::size_t>(stop - start + 1);
    if (size == 1)
    {
        return MultiValue(Impl::of(vm).singleByteString(static_cast<unsigned char>(text[start - 1])));
    }
    WorkMeter meter(Impl::of(vm), line);
    return MultiValue(makeStringMetered(meter, text.substr(static_cast<std::size_t>(start - 1), size)));
}

MultiValue stringFind(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("string.find", args.size(), 2, 4);
    PatternMatch match;
    if (!searchArguments(vm, "string.find", args, line, args.size() > 3 && args[3].isTruthy(), match))
    {
        return MultiValue(Value());
    }
    MultiValue results;
    results.push(Value(static_cast<long long>(match.start + 1)));
    results.push(Value(static_cast<long long>(match.end))); // an empty match ends before it starts
    pushCaptures(match, results);
    return results;
}

MultiValue stringMatch(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("string.match", args.size(), 2, 3);
    PatternMatch match;
    if (!searchArguments(vm, "string.match", args, line, false, match))
    {
        return MultiValue(Value());
    }
    if (match.captures.empty())
    {
        return MultiValue(Value(match.text));
    }
    MultiValue results;
    pushCaptures(match, results);
    return results;
}

// Every match is collected now, before the loop takes its first step.
MultiValue stringGmatch(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("string.gmatch", args.size(), 2, 2);
    const Value& subject = Impl::requireString("string.gmatch", args, 0, line);
    const Value& pattern = Impl::requireString("string.gmatch", args, 1, line);
    StepBudget budget(vm, line);
    budget.add(pattern.string()->size());
    const zq::regex re(translateLuaPatternToRegex(pattern.stringView()));
    const std::string_view text = subject.stringView();
    Ref<IteratorState> state = makeRef<IteratorState>();
    constexpr std::uint64_t kUnitsPerMatch = 6 * WorkMeter::kUnitsPerElement; // a search, a string, a list item
    state->kind = IteratorState::Kind::List;
    state->listSubject = subject;
    const auto spanOf = [&text](std::string_view piece) { // an unmatched capture may point nowhere
        return piece.empty() ? IteratorState::Span{0, 0}
                             : IteratorState::Span{static_cast<std::size_t>(piece.data() - text.data()), piece.size()};
    };
    for (zq::sregex_iterator it(text.data(), text.data() + text.size(), re, &budget); !it.atEnd(); ++it)
    {
        const zq::match_results& match = *it;
        budget.add(kUnitsPerMatch + match.length(0));
        if (match.size() > 1)
        {
            for (std::size_t i = 1; i < match.size(); ++i)
            {
                state->listSpans.push_back(spanOf(match[i].view()));
            }
        }
        else
        {
            state->listSpans.push_back(spanOf(match[0].view()));
        }
        state->endListItem();
    }
    return MultiValue(Value(std::move(state)));
}

// The replacement is the text of the third argument, taken literally: no %0-%9, no functions or tables.
MultiValue stringGsub(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("string.gsub", args.size(), 3, 3);
    const Value& subject = Impl::requireString("string.gsub", args, 0, line);
    const Value& pattern = Impl::requireString("string.gsub", args, 1, line);
    std::string replacement;
    args[2].appendTo(replacement);
    StepBudget budget(vm, line);
    budget.add(pattern.string()->size());
    const zq::regex re(translateLuaPatternToRegex(pattern.stringView()));
    const std::string_view text = subject.stringView();
    const char* cursor = text.data();
    const char* const end = text.data() + text.size();
    CountedText result;
    long long count = 0;
    zq::match_results match;
    // Each search treats the cursor as the start of the text, so a leading `^` anchors there every time.
    while (zq::regex_search(cursor, end, match, re, &budget))
    {
        const zq::sub_match& whole = match[0];
        // The bytes produced, and the replacement itself (a search and two appends).
        budget.add(static_cast<std::size_t>(whole.first - cursor) + replacement.size() + 2 * WorkMeter::kUnitsPerElement);
        result.append(std::string_view(cursor, static_cast<std::size_t>(whole.first - cursor)));
        result.append(replacement);
        cursor = whole.second;
        ++count;
        if (whole.first == whole.second)
        {
            if (cursor == end)
            {
                break;
            }
            result.push_back(*cursor++); // an empty match cannot repeat at the same place
        }
    }
    MultiValue results;
    if (count == 0)
    {
        results.push(subject); // nothing replaced: share the original
    }
    else
    {
        budget.add(2 * static_cast<std::size_t>(end - cursor) + result.size()); // the tail, and the copy
        result.append(std::string_view(cursor, static_cast<std::size_t>(end - cursor)));
        results.push(Value(result.view()));
    }
    results.push(Value(count));
    return results;
}

// Tokens are single bytes after `%`: no flags, widths or precisions.
MultiValue stringFormat(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("string.format", args.size(), 1, kUnbounded);
    const std::string_view format = Impl::requireString("string.format", args, 0, line).stringView();
    WorkMeter meter(Impl::of(vm), line);
    meter.scanned(format.size());
    CountedText text;
    text.reserveFor(format.size());
    std::string& out = text.str();
    std::size_t next = 1;
    for (std::size_t i = 0; i < format.size(); ++i)
    {
        const char c = format[i];
        if (c != '%')
        {
            out.push_back(c);
            continue;
        }
        if (++i == format.size())
        {
            failRuntime(line, "unterminated format token");
        }
        const char token = format[i];
        if (token == '%')
        {
            out.push_back('%');
            continue;
        }
        if (next >= args.size())
        {
            failRuntime(line, "missing format argument"); // checked before the token itself
        }
        const Value& argument = args[next++];
        switch (token)
        {
        case 'd':
        case 'i':
            if (!argument.isNumber())
            {
                failRuntime(line, "integer format expects a number");
            }
            text.appendWith([&](std::string& into) { zq::append_number(into, static_cast<long long>(argument.asInteger())); });
            break;
        case 'f':
            if (!argument.isNumber())
            {
                failRuntime(line, "float format expects a number");
            }
            text.appendWith([&](std::string& into) { zq::append_number(into, argument.asFloat()); });
            break;
        case 's':
            if (argument.isString())
            {
                meter.bytes(argument.string()->size());
                text.append(argument.stringView());
            }
            else
            {
                text.appendWith([&](std::string& into) { argument.appendTo(into); });
            }
            break;
        default: failRuntime(line, std::string("unsupported format token %") + token);
        }
    }
    return MultiValue(makeStringMetered(meter, text.view()));
}

MultiValue stringRep(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("string.rep", args.size(), 2, 2);
    const Value& subject = Impl::requireString("string.rep", args, 0, line);
    const std::int64_t count = Impl::requireInteger("string.rep", args, 1, line);
    const std::size_t piece = subject.string()->size();
    if (count < 1 || piece == 0)
    {
        return MultiValue(Value(std::string_view()));
    }
    if (count == 1)
    {
        return MultiValue(subject);
    }
    // A size that cannot be represented fails before anything is allocated.
    constexpr std::size_t kLargest = static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max()) / 2;
    if (static_cast<std::uint64_t>(count) > kLargest / piece)
    {
        throw std::bad_alloc();
    }
    const std::size_t total = piece * static_cast<std::size_t>(count);
    Impl& impl = Impl::of(vm);
    impl.spendStepsForBytes(total, line); // before the work, so a step limit stops it unallocated
    Ref<LuaString> result = LuaString::makeUninitialized(total);
    char* data = result->mutableData();
    std::memcpy(data, subject.string()->data(), piece);
    // Doubling copies keep the work linear with few, large copies; in bounded pieces, so that an
    // interrupt stops a huge one promptly.
    constexpr std::size_t kPiece = 1u << 20;
    for (std::size_t filled = piece; filled < total;)
    {
        const std::size_t chunk = std::min({filled, total - filled, kPiece});
        std::memcpy(data + filled, data, chunk);
        filled += chunk;
        impl.spendSteps(0, line); // already paid for: only an interrupt stops it here
    }
    return MultiValue(Value(std::move(result)));
}

// A minimal binary reader: unsigned 32-bit fields in either byte order, then the next position.
MultiValue stringUnpack(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("string.unpack", args.size(), 2, 3);
    const std::string_view format = Impl::requireString("string.unpack", args, 0, line).stringView();
    const std::string_view data = Impl::requireString("string.unpack", args, 1, line).stringView();
    const std::int64_t position = args.size() > 2 ? Impl::requireInteger("string.unpack", args, 2, line) : 1;
    std::uint64_t offset = position < 1 ? 0 : static_cast<std::uint64_t>(position - 1);
    bool littleEndian = true;
    MultiValue results;
    WorkMeter meter(Impl::of(vm), line);
    meter.scanned(format.size());
    for (std::size_t i = 0; i < format.size();)
    {
        const char c = format[i++];
        switch (c)
        {
        case ' ':
        case '\t':
        case '\n':
        case '\r':
        case '\f':
        case '\v': break;
        case '<': littleEndian = true; break;
        case '>': littleEndian = false; break;
        case 'I':
        {
            std::uint64_t size = 0;
            bool hasSize = false;
            while (i < format.size() && format[i] >= '0' && format[i] <= '9')
            {
                size = std::min<std::uint64_t>(size * 10 + static_cast<std::uint64_t>(format[i] - '0'), 1000);
                hasSize = true;
                ++i;
            }
            if (!hasSize || size != 4)
            {
                failRuntime(line, "VelmarLua only supports string.unpack I4 fields");
            }
            if (offset > data.size() || data.size() - offset < 4)
            {
                failRuntime(line, "string.unpack ran past the end of the buffer");
            }
            const auto* bytes = reinterpret_cast<const unsigned char*>(data.data() + offset);
            std::uint32_t field = 0;
            for (int k = 0; k < 4; ++k)
            {
                field |= static_cast<std::uint32_t>(bytes[littleEndian ? k : 3 - k]) << (8 * k);
            }
            meter.elements(1);
            results.push(Value(static_cast<long long>(field)));
            offset += 4;
            break;
        }
        default: failRuntime(line, "unsupported string.unpack format");
        }
    }
    results.push(Value(static_cast<long long>(offset + 1)));
    return results;
}

} // namespace

void bindStringLibrary(LuaVM::Impl& vm)
{
    Ref<Table> table = makeLibraryTable(vm, "string");
    vm.bindTableFunction(*table, "sub", stringSub);
    vm.bindTableFunction(*table, "find", stringFind);
    vm.bindTableFunction(*table, "match", stringMatch);
    vm.bindTableFunction(*table, "gmatch", stringGmatch);
    vm.bindTableFunction(*table, "gsub", stringGsub);
    vm.bindTableFunction(*table, "format", stringFormat);
    vm.bindTableFunction(*table, "rep", stringRep);
    vm.bindTableFunction(*table, "unpack", stringUnpack);
}

} // namespace velmar::lua
