// The interactive prompt: chunks typed over several lines, values shown, errors reported, and the run
// going on after each.
#include "Prompt.hpp"

#include "Console.hpp"
#include "Scripts.hpp"

#include <velmar/lua/HostInterface.hpp>

#include <algorithm>
#include <array>
#include <exception>
#include <vector>

namespace velmar::cli
{
namespace
{

using velmar::lua::LuaResult;
using velmar::lua::LuaValue;
using velmar::lua::LuaVM;

constexpr const char* kChunkName = "stdin"; // every chunk typed at the prompt
// Typed or pasted lines up to this size are taken whole.
constexpr std::size_t kLineCapacity = 1 << 16;

bool isIdentifierByte(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// Without the blanks and carriage returns around it, so "exit " and "exit\r" still leave.
std::string trimmed(const std::string& text)
{
    const std::size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos)
    {
        return "";
    }
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// Decides what a typed chunk is, in this order: "return" and an expression list shows its values, nils
// included; an expression list alone shows its values (a call that gives only nils, such as print,
// shows nothing); a statement runs; anything else either waits for more lines, when the error stands
// at the end of the input, or is reported. Each candidate is compiled first without running, so a
// chunk never runs twice.
class Prompt
{
public:
    explicit Prompt(Session& session) : session_(session), vm_(session.vm()) {}

    // Runs the chunk typed so far, unless it is unfinished and more may follow. Returns the exit status
    // when the chunk ended the program.
    std::optional<int> submit(const std::string& source, bool final, bool& needMore)
    {
        needMore = false;
        const std::string afterReturn = returnedList(source);
        if (!afterReturn.empty() && isExpressionList(afterReturn))
        {
            showNils_ = true; // return nil shows nil
            return runWrapped(afterReturn);
        }
        std::string statementError;
        const bool statement = compiles(source, &statementError);
        if (isExpressionList(source))
        {
            showNils_ = !statement; // a call that gives only nils (print) shows nothing
            return runWrapped(source);
        }
        if (statement)
        {
            const RunOutcome outcome = session_.run([&] { return vm_.runScriptString(source, kChunkName); });
            if (!outcome.failed && !outcome.exitStatus && !outcome.result.value.isNil())
            {
                show({outcome.result.value});
            }
            return outcome.exitStatus;
        }
        std::string openError;
        // Unfinished as the arguments of a call? An unfinished expression ("x +", "1,") fails as a
        // statement before its end, but as call arguments at the end. A local callee leaves no global.
        const std::string open = "local show show(" + source;
        // At the end of input (`final`) no more lines can come, so the error is reported instead.
        if (!final && (endsBeforeChunk(source, statementError, kChunkName) ||
                       (!compiles(open, &openError) && endsBeforeChunk(open, openError, kChunkName))))
        {
            needMore = true;
            return std::nullopt;
        }
        reportError(statementError);
        return std::nullopt;
    }

private:
    // The expression list after a leading `return` keyword, or "" (also for a bare return: it shows
    // nothing either way).
    static std::string returnedList(const std::string& source)
    {
        const std::size_t start = source.find_first_not_of(" \t\r\n");
        // The whole word only: "returned = 1" is an assignment.
        if (start == std::string::npos || source.compare(start, 6, "return") != 0 ||
            (start + 6 < source.size() && isIdentifierByte(source[start + 6])))
        {
            return "";
        }
        return source.substr(start + 6);
    }

    // The chunk that returns the values of an expression list (the line feed ends a trailing comment).
    static std::string wrapped(const std::string& expressions)
    {
        return "return " + expressions + "\n";
    }

    // Whether the text is an expression list alone: a return statement would also take a trailing ';'.
    bool isExpressionList(const std::string& text)
    {
        const std::size_t last = text.find_last_not_of(" \t\r\n");
        return (last == std::string::npos || text[last] != ';') && compiles(wrapped(text));
    }

    // Compiles without running; the message of the syntax error when it does not.
    bool compiles(const std::string& source, std::string* error = nullptr)
    {
        try
        {
            vm_.compileScript(source, kChunkName);
            return true;
        }
        catch (const std::exception& failure)
        {
            if (error != nullptr)
            {
                *error = failure.what();
            }
            return false;
        }
    }

    // Values are shown only after a successful run; the session has already reported a failure.
    std::optional<int> runWrapped(const std::string& expressions)
    {
        const RunOutcome outcome = session_.run([&] { return vm_.runScriptString(wrapped(expressions), kChunkName); });
        if (!outcome.failed && !outcome.exitStatus)
        {
            show(outcome.result.values);
        }
        return outcome.exitStatus;
    }

    // As print writes them: tab-separated, one line.
    void show(const std::vector<LuaValue>& values)
    {
        if (values.empty() ||
            (!showNils_ && std::all_of(values.begin(), values.end(), [](const LuaValue& v) { return v.isNil(); })))
        {
            return;
        }
        std::string line;
        for (std::size_t i = 0; i < values.size(); ++i)
        {
            if (i > 0)
            {
                line += '\t';
            }
            line += values[i].toString();
        }
        velmar::lua::writeVelmarBootText(line + "\n"); // through the console, in order with print's output
    }

    Session& session_;
    LuaVM& vm_;
    bool showNils_ = true; // whether a list of nils is shown, decided per chunk by submit
};

} // namespace

bool endsBeforeChunk(const std::string& source, const std::string& message, const std::string& chunkName)
{
    static constexpr std::array kInsideToken{"unterminated string literal", "unterminated long string literal",
                                             "unterminated string escape"};
    // The message reads "chunk:line:column: text"; a run-time message has no column and never matches.
    const std::string prefix = chunkName + ":";
    if (!message.starts_with(prefix))
    {
        return false;
    }
    std::size_t at = prefix.size();
    auto number = [&]() -> std::size_t {
        std::size_t value = 0;
        while (at < message.size() && message[at] >= '0' && message[at] <= '9')
        {
            value = value * 10 + static_cast<std::size_t>(message[at++] - '0');
        }
        ++at; // the ':' after it
        return value;
    };
    const std::size_t line = number();
    const std::size_t column = number();
    const std::string text = at < message.size() ? message.substr(at + 1) : "";
    if (std::find(kInsideToken.begin(), kInsideToken.end(), text) != kInsideToken.end())
    {
        return true;
    }
    // The position one past the last byte: where the parser reports running out of input.
    const std::size_t lastBreak = source.rfind('\n');
    const std::size_t endLine = 1 + static_cast<std::size_t>(std::count(source.begin(), source.end(), '\n'));
    const std::size_t endColumn = 1 + (lastBreak == std::string::npos ? source.size() : source.size() - lastBreak - 1);
    return line == endLine && column == endColumn;
}

int runPrompt(Session& session)
{
    Prompt prompt(session);
    zq_lua_show_banner();
    // An index.lua in the current directory runs first, as a start-up script; only its os.exit ends the
    // prompt (a failure is reported and the prompt goes on).
    if (isRegularFile("index.lua"))
    {
        if (const RunOutcome outcome = session.runFile("index.lua"); outcome.exitStatus)
        {
            return *outcome.exitStatus;
        }
    }
    std::vector<char> buffer(kLineCapacity);
    std::string pending;
    for (;;)
    {
        setPromptReading(true);
        const bool read = zq_lua_readline(buffer.data(), buffer.size(), pending.empty() ? "> " : ">> ", false);
        setPromptReading(false);
        const ReadEnd end = lastReadEnd();
        if (end == ReadEnd::Interrupted) // Ctrl-C drops the unfinished chunk too
        {
            pending.clear();
            continue;
        }
        if (end == ReadEnd::TooLong)
        {
            reportError("velmarlua: input line longer than " + std::to_string(kLineCapacity - 1) +
                        " bytes; it was dropped with the chunk it continued");
            pending.clear();
            continue;
        }
        if (!read)
        {
            // Leaving. At end of input an unfinished chunk is reported; Esc drops it without a word.
            bool needMore = false;
            std::optional<int> status;
            if (end == ReadEnd::EndOfInput && !pending.empty())
            {
                status = prompt.submit(pending, true, needMore); // reports why the chunk is unfinished
            }
            zq_lua_writeline(); // the shell's prompt starts on a line of its own
            return status.value_or(0);
        }
        const std::string line(buffer.data());
        // "exit" leaves only as the first line of a chunk; after that it is just another line of source.
        if (pending.empty() && trimmed(line) == "exit")
        {
            return 0;
        }
        // The lines of one chunk are joined, so its error lines count from its first line.
        pending = pending.empty() ? line : pending + "\n" + line;
        bool needMore = false;
        if (const std::optional<int> status = prompt.submit(pending, false, needMore))
        {
            return *status;
        }
        if (!needMore)
        {
            pending.clear();
        }
    }
}

} // namespace velmar::cli
