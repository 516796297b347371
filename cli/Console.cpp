// The read-line slot of velmarlua's host table: libedit on a terminal, plain lines elsewhere, both woken
// by Ctrl-C through a self-pipe so that no signal is lost between a check and a wait.
#include "Console.hpp"

#include <velmar/lua/HostInterface.hpp>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#ifdef VELMAR_HAVE_LIBEDIT
#include <dlfcn.h>
#include <histedit.h>
#include <langinfo.h>

#include <clocale>
#endif

namespace velmar::cli
{
namespace
{

// Read by the signal handler, hence atomic. The rest of this file's state belongs to the main thread; the
// handler only writes to the wake pipe, whose ends are made before the handler is installed.
std::atomic<velmar::lua::LuaVM*> gInterruptTarget{nullptr};
// The self-pipe: the handler writes one byte per signal, and a reader waiting in poll wakes on it.
int gWakePipe[2] = {-1, -1};
ReadEnd gLastEnd = ReadEnd::Line;
// Set by the prompt around its own reads, so only its lines reach the history.
bool gPromptReading = false;

// Bytes read from standard input and not yet handed out. Both readers draw from it, so bytes read ahead
// (a pasted block) are never lost between lines or between the plain and the editing reader.
std::string gInput;
bool gInputEnded = false;

// What a byte in the wake pipe stands for.
constexpr char kWakeInterrupt = 'i';
constexpr char kWakeResize = 'w';

// Only async-signal-safe work: an atomic load, the VM's atomic interrupt and one write to the pipe.
extern "C" void onSignal(int signal)
{
    const int saved = errno;
    if (signal == SIGINT)
    {
        if (velmar::lua::LuaVM* vm = gInterruptTarget.load())
        {
            vm->interrupt(); // an atomic store
        }
    }
    const char wake = signal == SIGINT ? kWakeInterrupt : kWakeResize;
    [[maybe_unused]] const ssize_t written = ::write(gWakePipe[1], &wake, 1); // full pipe: already woken
    errno = saved;
}

// Empties the wake pipe (non-blocking, so this never waits); true when it held a Ctrl-C.
bool drainWakes(bool* resized = nullptr)
{
    bool interrupted = false;
    char bytes[64];
    ssize_t got;
    while ((got = ::read(gWakePipe[0], bytes, sizeof bytes)) > 0)
    {
        for (ssize_t i = 0; i < got; ++i)
        {
            interrupted = interrupted || bytes[i] == kWakeInterrupt;
            if (resized != nullptr && bytes[i] == kWakeResize)
            {
                *resized = true;
            }
        }
    }
    return interrupted;
}

enum class Wait
{
    Input,
    Woken,
    TimedOut,
};

// Waits until standard input has bytes (or has ended) or a signal wakes the reader; a timeout of -1
// waits as long as it takes.
Wait waitForInput(int timeoutMs)
{
    for (;;)
    {
        pollfd fds[2] = {{0, POLLIN, 0}, {gWakePipe[0], POLLIN, 0}};
        const int ready = ::poll(fds, 2, timeoutMs);
        if (ready < 0 && errno == EINTR)
        {
            continue; // the wake pipe now says why
        }
        if (ready == 0)
        {
            return Wait::TimedOut;
        }
        if (ready > 0 && (fds[1].revents & POLLIN) != 0)
        {
            return Wait::Woken;
        }
        return Wait::Input; // readable, ended, or an error that the read will report
    }
}

// Appends what standard input has; false at its end (or on an error, which ends it too). One read only,
// so a line is handed over as soon as it is complete, without waiting for a full buffer.
bool readMoreInput()
{
    char bytes[4096];
    for (;;)
    {
        const ssize_t got = ::read(0, bytes, sizeof bytes);
        if (got > 0)
        {
            gInput.append(bytes, static_cast<std::size_t>(got));
            return true;
        }
        if (got < 0 && errno == EINTR)
        {
            continue;
        }
        if (got < 0 && errno == EAGAIN)
        {
            return true; // nothing yet on a non-blocking input: the caller waits again
        }
        gInputEnded = true;
        return false;
    }
}

// A line without its line feed, for input that is not a terminal or when libedit is missing.
ReadEnd readPlainLine(const char* prompt, std::string& line)
{
    if (prompt != nullptr)
    {
        std::fputs(prompt, stdout);
    }
    std::fflush(stdout);
    for (;;)
    {
        const std::size_t end = gInput.find('\n');
        if (end != std::string::npos)
        {
            line.assign(gInput, 0, end);
            gInput.erase(0, end + 1);
            // Without line editing Esc arrives with the line: Esc alone (and Enter) leaves.
            return line == "\x1b" || line == "\x1b\r" ? ReadEnd::Leave : ReadEnd::Line;
        }
        if (gInputEnded)
        {
            if (gInput.empty())
            {
                return ReadEnd::EndOfInput;
            }
            line = std::move(gInput); // a last line without its line feed
            gInput.clear();
            return ReadEnd::Line;
        }
        if (waitForInput(-1) == Wait::Woken && drainWakes())
        {
            // A terminal has already dropped the line; the cursor still stands after "^C".
            std::fputs("\n", stdout);
            return ReadEnd::Interrupted;
        }
        readMoreInput();
    }
}

#ifdef VELMAR_HAVE_LIBEDIT

// libedit and the libraries it needs are loaded when a terminal prompt first reads a line: a script run
// never pays for loading them at start-up. Without the library the prompt reads plain lines.
struct EditLibrary
{
    decltype(&el_init) init = nullptr;
    decltype(&el_end) end = nullptr;
    decltype(&el_set) set = nullptr;
    decltype(&el_wset) wset = nullptr;
    decltype(&el_source) source = nullptr;
    decltype(&el_wgets) wgets = nullptr;
    decltype(&el_wline) wline = nullptr;
    decltype(&el_resize) resize = nullptr;
    decltype(&history_init) historyInit = nullptr;
    decltype(&::history) historyCall = nullptr;
    decltype(&history_end) historyEnd = nullptr;
};
EditLibrary gEdit;

template <typename Function> bool loadSymbol(void* library, const char* name, Function& out)
{
    out = reinterpret_cast<Function>(::dlsym(library, name));
    return out != nullptr;
}

// The system's library by its usual name first, then the file the build found.
bool loadEditLibrary()
{
    void* library = ::dlopen("libedit.so.2", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
    {
        library = ::dlopen(VELMAR_LIBEDIT_PATH, RTLD_NOW | RTLD_LOCAL); // the one found at build time
    }
    if (library == nullptr)
    {
        return false;
    }
    EditLibrary loaded;
    if (loadSymbol(library, "el_init", loaded.init) && loadSymbol(library, "el_end", loaded.end) &&
        loadSymbol(library, "el_set", loaded.set) && loadSymbol(library, "el_wset", loaded.wset) &&
        loadSymbol(library, "el_source", loaded.source) && loadSymbol(library, "el_wgets", loaded.wgets) &&
        loadSymbol(library, "el_wline", loaded.wline) && loadSymbol(library, "el_resize", loaded.resize) &&
        loadSymbol(library, "history_init", loaded.historyInit) && loadSymbol(library, "history", loaded.historyCall) &&
        loadSymbol(library, "history_end", loaded.historyEnd))
    {
        gEdit = loaded;
        return true; // stays loaded for the life of the process
    }
    ::dlclose(library);
    return false;
}

// Made on the first read at a terminal and ended by closeConsole, which gives the terminal back.
EditLine* gEditor = nullptr;
History* gHistory = nullptr;
std::string gHistoryPath; // empty without HOME: the history then lives for this process only
// libedit asks for the prompt through a callback, so the current text waits here.
const char* gPromptText = "";
// Set by the key bindings while el_wgets runs, and read as soon as it returns.
bool gLeaveRequested = false;
bool gLineInterrupted = false;
// Ctrl-\\: a terminal turns it into a signal, so it never arrives as a byte of its own.
constexpr wchar_t kLeaveByte = 0x1C;

char* promptText(EditLine*)
{
    return const_cast<char*>(gPromptText);
}

// Bound to Ctrl-C: ends the line, which the reader then drops.
unsigned char interruptKey(EditLine*, int)
{
    gLineInterrupted = true;
    return CC_NEWLINE;
}

// Bound to the byte that the reader hands over for Esc on an empty line: ends the input quietly.
unsigned char leaveKey(EditLine*, int)
{
    gLeaveRequested = true;
    return CC_EOF;
}

bool lineIsEmpty(EditLine* editor)
{
    const LineInfoW* info = gEdit.wline(editor);
    return info->buffer == info->lastchar;
}

// Decodes one character from the front of gInput, which holds at least one byte. A byte that does not
// start valid UTF-8 becomes U+DC00 plus its value, and encodeLine turns it back into the same byte.
// A sequence split across reads gets up to 50 ms for its remaining bytes.
wchar_t takeCharacter()
{
    const auto lead = static_cast<unsigned char>(gInput[0]);
    // The sequence's length from its lead byte; 0 for a byte that cannot start one.
    std::size_t length = lead < 0x80 ? 1 : lead >= 0xC2 && lead < 0xE0 ? 2 : lead >= 0xE0 && lead < 0xF0 ? 3
                                                                  : lead >= 0xF0 && lead < 0xF5 ? 4
                                                                                                : 0;
    while (length > gInput.size() && !gInputEnded && waitForInput(50) == Wait::Input && readMoreInput())
    {
    }
    std::uint32_t code = length == 1 ? lead : length == 2 ? lead & 0x1F : length == 3 ? lead & 0x0F : lead & 0x07;
    bool valid = length != 0 && length <= gInput.size();
    for (std::size_t i = 1; valid && i < length; ++i)
    {
        const auto next = static_cast<unsigned char>(gInput[i]);
        valid = (next & 0xC0) == 0x80;
        code = (code << 6) | (next & 0x3F);
    }
    valid = valid && !(length == 3 && (code < 0x800 || (code >= 0xD800 && code < 0xE000))) &&
            !(length == 4 && (code < 0x10000 || code > 0x10FFFF));
    if (!valid)
    {
        gInput.erase(0, 1);
        return static_cast<wchar_t>(0xDC00 + lead);
    }
    gInput.erase(0, length);
    return static_cast<wchar_t>(code);
}

// The inverse of takeCharacter: UTF-8 again, and each stray byte exactly as it was read.
std::string encodeLine(const wchar_t* text, std::size_t length)
{
    std::string bytes;
    for (std::size_t i = 0; i < length; ++i)
    {
        const auto code = static_cast<std::uint32_t>(text[i]);
        if (code < 0x80)
        {
            bytes += static_cast<char>(code);
        }
        else if (code >= 0xDC80 && code <= 0xDCFF)
        {
            bytes += static_cast<char>(code - 0xDC00);
        }
        else if (code < 0x800)
        {
            bytes += static_cast<char>(0xC0 | (code >> 6));
            bytes += static_cast<char>(0x80 | (code & 0x3F));
        }
        else if (code < 0x10000)
        {
            bytes += static_cast<char>(0xE0 | (code >> 12));
            bytes += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            bytes += static_cast<char>(0x80 | (code & 0x3F));
        }
        else
        {
            bytes += static_cast<char>(0xF0 | (code >> 18));
            bytes += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
            bytes += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            bytes += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    return bytes;
}

// libedit's character source: standard input, Ctrl-C from the wake pipe, and a lone Esc (one that no
// other byte follows at once, as they do in the sequences of cursor keys).
int readCharacter(EditLine* editor, wchar_t* out)
{
    for (;;)
    {
        if (gInput.empty())
        {
            bool resized = false;
            if (waitForInput(-1) == Wait::Woken)
            {
                if (drainWakes(&resized))
                {
                    *out = 3; // Ctrl-C, bound to interruptKey
                    return 1;
                }
                if (resized)
                {
                    gEdit.resize(editor);
                }
                continue;
            }
            if (!readMoreInput())
            {
                return 0; // end of input, which libedit takes as end of file
            }
        }
        // A key's escape sequence arrives at once; 40 ms of nothing after Esc means Esc was pressed alone.
        if (gInput[0] == '\x1b' && gInput.size() == 1 && waitForInput(40) != Wait::Input)
        {
            gInput.clear();
            if (lineIsEmpty(editor))
            {
                *out = kLeaveByte;
                return 1;
            }
            continue; // Esc inside a line does nothing
        }
        // The rest of a key's sequence is on its way: read it before decoding.
        if (gInput[0] == '\x1b' && gInput.size() == 1 && !readMoreInput())
        {
            return 0;
        }
        *out = takeCharacter();
        return 1;
    }
}

void openEditor()
{
    static const bool loaded = loadEditLibrary();
    if (!loaded)
    {
        return;
    }
    // libedit measures and shows characters by the locale; the bytes of a line never depend on it.
    std::setlocale(LC_CTYPE, "");
    if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0)
    {
        std::setlocale(LC_CTYPE, "C.UTF-8");
    }
    gEditor = gEdit.init("velmarlua", stdin, stdout, stderr);
    if (gEditor == nullptr)
    {
        return;
    }
    gEdit.set(gEditor, EL_EDITOR, "emacs"); // the key set most shells start with
    gEdit.set(gEditor, EL_PROMPT, promptText);
    gEdit.set(gEditor, EL_GETCFN, readCharacter);
    // The wide form: the narrow one keeps copies of the names that el_end never frees.
    gEdit.wset(gEditor, EL_ADDFN, L"velmar-interrupt", L"drop the line", interruptKey);
    gEdit.set(gEditor, EL_BIND, "^C", "velmar-interrupt", nullptr);
    gEdit.wset(gEditor, EL_ADDFN, L"velmar-leave", L"leave the prompt", leaveKey);
    gEdit.set(gEditor, EL_BIND, "^\\", "velmar-leave", nullptr);
    // Home, End, Delete and word moves as the common terminals send them.
    static const char* const kKeys[][2] = {
        {"\033[H", "ed-move-to-beg"}, {"\033OH", "ed-move-to-beg"},      {"\033[1~", "ed-move-to-beg"},
        {"\033[7~", "ed-move-to-beg"}, {"\033[F", "ed-move-to-end"},     {"\033OF", "ed-move-to-end"},
        {"\033[4~", "ed-move-to-end"}, {"\033[8~", "ed-move-to-end"},    {"\033[3~", "ed-delete-next-char"},
        {"\033[1;5D", "ed-prev-word"}, {"\033[1;5C", "em-next-word"},
    };
    for (const auto& key : kKeys)
    {
        gEdit.set(gEditor, EL_BIND, key[0], key[1], nullptr);
    }
    gHistory = gEdit.historyInit();
    HistEvent event;
    gEdit.historyCall(gHistory, &event, H_SETSIZE, 1000);
    gEdit.historyCall(gHistory, &event, H_SETUNIQUE, 1);
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0')
    {
        gHistoryPath = std::string(home) + "/.velmarlua_history";
        gEdit.historyCall(gHistory, &event, H_LOAD, gHistoryPath.c_str());
    }
    gEdit.set(gEditor, EL_HIST, gEdit.historyCall, gHistory);
    gEdit.source(gEditor, nullptr); // the user's ~/.editrc
    // A resize only wakes the reader through the pipe; readCharacter tells libedit outside the handler.
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGWINCH, &action, nullptr);
}

// Blank lines stay out of the history, and a line equal to the last one is kept once (H_SETUNIQUE).
void remember(const std::string& line)
{
    if (gHistory == nullptr || line.find_first_not_of(" \t") == std::string::npos)
    {
        return;
    }
    HistEvent event;
    gEdit.historyCall(gHistory, &event, H_ENTER, line.c_str());
    if (!gHistoryPath.empty())
    {
        gEdit.historyCall(gHistory, &event, H_SAVE, gHistoryPath.c_str()); // at once: a killed terminal loses nothing
    }
}

// One line through libedit. Lines typed at the prompt go to the history; lines a script reads do not.
ReadEnd readEditedLine(const char* prompt, std::string& line)
{
    gPromptText = prompt != nullptr ? prompt : "";
    gLeaveRequested = false;
    gLineInterrupted = false;
    drainWakes(); // a Ctrl-C that stopped the last run must not drop this line
    int count = 0;
    const wchar_t* text = gEdit.wgets(gEditor, &count);
    if (gLineInterrupted)
    {
        std::fputs("^C\n", stdout); // as a shell shows it; the line stays on the screen, dropped
        std::fflush(stdout);
        return ReadEnd::Interrupted;
    }
    if (text == nullptr || count <= 0)
    {
        return gLeaveRequested ? ReadEnd::Leave : ReadEnd::EndOfInput;
    }
    std::size_t length = static_cast<std::size_t>(count);
    if (text[length - 1] == L'\n') // without its line feed, as the plain reader gives it
    {
        --length;
    }
    line = encodeLine(text, length);
    if (gPromptReading)
    {
        remember(line);
    }
    return ReadEnd::Line;
}

// Line editing only when both ends are a terminal that can show it: TERM=dumb gets plain lines.
bool wantsEditor()
{
    const char* term = std::getenv("TERM");
    return ::isatty(0) && ::isatty(1) && term != nullptr && std::strcmp(term, "dumb") != 0;
}

#endif // VELMAR_HAVE_LIBEDIT

// The host table's read-line slot, used by the prompt and by scripts reading the console: 1 with a line in
// `buffer`, 0 otherwise, and lastReadEnd() says which end it was. The editor is opened on the first
// read at a terminal, never for a script that reads nothing.
std::uint32_t readConsoleLine(char* buffer, std::uint32_t capacity, const char* prompt, std::uint8_t)
{
    if (buffer == nullptr || capacity == 0)
    {
        return 0;
    }
    std::fflush(stdout);
    std::string line;
#ifdef VELMAR_HAVE_LIBEDIT
    static const bool editing = wantsEditor();
    if (editing && gEditor == nullptr)
    {
        openEditor();
    }
    gLastEnd = gEditor != nullptr ? readEditedLine(prompt, line) : readPlainLine(prompt, line);
#else
    gLastEnd = readPlainLine(prompt, line);
#endif
    if (gLastEnd != ReadEnd::Line)
    {
        buffer[0] = '\0';
        return 0;
    }
    if (!line.empty() && line.back() == '\r') // input with CRLF line ends
    {
        line.pop_back();
    }
    // A line too long for the buffer is handed over cut short and marked TooLong (the prompt drops it).
    if (line.size() >= capacity)
    {
        gLastEnd = ReadEnd::TooLong;
        line.resize(capacity - 1);
    }
    std::memcpy(buffer, line.data(), line.size());
    buffer[line.size()] = '\0';
    return 1;
}

} // namespace

// The desktop host table with only its read-line slot replaced; the library keeps the pointer, hence static.
void installConsole()
{
    static zq_program_api table = *zq_desktop_program_api();
    table.read_line = readConsoleLine;
    zq_set_program_api(&table);
    // Non-blocking both ways: the handler must never block on a full pipe, nor drainWakes on an empty one.
    if (gWakePipe[0] < 0 && ::pipe2(gWakePipe, O_NONBLOCK | O_CLOEXEC) != 0)
    {
        std::perror("velmarlua: pipe");
        std::exit(1);
    }
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART; // output in progress goes on; the reader waits in poll, which wakes anyway
    sigaction(SIGINT, &action, nullptr);
}

void closeConsole()
{
    std::fflush(stdout);
#ifdef VELMAR_HAVE_LIBEDIT
    if (gEditor != nullptr)
    {
        gEdit.end(gEditor); // gives the terminal its settings back
        gEditor = nullptr;
    }
    if (gHistory != nullptr)
    {
        gEdit.historyEnd(gHistory);
        gHistory = nullptr;
    }
#endif
}

void setInterruptTarget(velmar::lua::LuaVM* vm)
{
    gInterruptTarget.store(vm);
}

void setPromptReading(bool on)
{
    gPromptReading = on;
}

ReadEnd lastReadEnd()
{
    return gLastEnd;
}

bool inputIsTerminal()
{
    return ::isatty(0) != 0;
}

} // namespace velmar::cli
