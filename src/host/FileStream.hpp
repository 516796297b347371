// The support library's file stream: a standard-style stream over one file-layer handle.
//
// Open flags map onto file-layer modes ("b" is added for `binary`; no line ends are translated):
//   in                   -> "r"   read an existing file
//   out, out|trunc       -> "w"   write, starting empty
//   app, out|app         -> "a"   write at the end (reads are refused: the stream was not opened with in)
//   in|app, in|out|app   -> "a"   read anywhere, write at the end
//   in|out               -> "r+"  read and write without truncation; a missing file starts empty
//   in|out|trunc         -> "w+"  read and write, starting empty
// Any other combination (none of in/out/app, or trunc without out, or trunc with app) fails to open.
// The file reaches its host at flush() or close(): check fail() after close() to know it was written.
#pragma once

#include <cstddef>
#include <string>

extern "C"
{
typedef struct zqfs_file zqfs_file;
}

namespace zq
{

enum class openmode : unsigned
{
    none = 0,
    in = 1,
    out = 2,
    trunc = 4,
    app = 8,
    binary = 16
};

constexpr openmode operator|(openmode a, openmode b)
{
    return static_cast<openmode>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}
constexpr openmode operator&(openmode a, openmode b)
{
    return static_cast<openmode>(static_cast<unsigned>(a) & static_cast<unsigned>(b));
}
constexpr openmode& operator|=(openmode& a, openmode b)
{
    return a = a | b;
}
constexpr bool any(openmode mode)
{
    return mode != openmode::none;
}

enum class seekdir
{
    beg,
    cur,
    end
};

class fstream
{
public:
    static constexpr openmode in = openmode::in;
    static constexpr openmode out = openmode::out;
    static constexpr openmode trunc = openmode::trunc;
    static constexpr openmode app = openmode::app;
    static constexpr openmode binary = openmode::binary;
    static constexpr seekdir beg = seekdir::beg;
    static constexpr seekdir cur = seekdir::cur;
    static constexpr seekdir end = seekdir::end;

    fstream() = default;
    fstream(const std::string& path, openmode mode) { open(path, mode); }
    // A stream is shared, never copied or moved: an open file belongs to one place.
    fstream(const fstream&) = delete;
    fstream& operator=(const fstream&) = delete;
    ~fstream();

    // Opens `path`; an open stream is closed first. On failure the stream is closed and fail() is true.
    void open(const std::string& path, openmode mode);
    bool is_open() const { return file_ != nullptr; }
    // Flushes and closes; fail() becomes true when the host refused the file. Closing twice is harmless.
    void close();

    // Reads up to `count` bytes; fewer sets eof and fail. gcount() tells how many arrived.
    fstream& read(char* dest, std::size_t count);
    std::size_t gcount() const { return gcount_; }
    // Writes `count` bytes at the write position; a refused write sets bad and fail.
    fstream& write(const char* src, std::size_t count);
    // Hands the file to its host now; a refusal sets bad and fail.
    fstream& flush();

    // There is one position for reading and writing: both forms move it. A failed seek sets fail.
    fstream& seekg(long long offset, seekdir dir = beg);
    fstream& seekp(long long offset, seekdir dir = beg);
    // The position; -1 when the stream failed or cannot read (tellg) or write (tellp).
    long long tellg() const;
    long long tellp() const;

    // The memory the open file holds now, and would hold after writing `count` bytes; its length.
    std::size_t held_bytes() const;
    std::size_t held_bytes_after_write(std::size_t count) const;
    std::size_t length() const;

    bool good() const { return state_ == 0; }
    bool fail() const { return (state_ & (kFailBit | kBadBit)) != 0; }
    bool bad() const { return (state_ & kBadBit) != 0; }
    bool eof() const { return (state_ & kEofBit) != 0; }
    explicit operator bool() const { return !fail(); }
    void clear() { state_ = 0; }

private:
    static constexpr unsigned kEofBit = 1;
    static constexpr unsigned kFailBit = 2;
    static constexpr unsigned kBadBit = 4;

    fstream& seek(long long offset, seekdir dir);
    long long tell(bool allowed) const;

    zqfs_file* file_ = nullptr;
    std::size_t gcount_ = 0;
    unsigned state_ = 0;
    bool canRead_ = false;
    bool canWrite_ = false;
};

} // namespace zq
