// The support library's file stream over one file-layer handle.
#include "host/FileStream.hpp"

#include "host/FileLayer.hpp"

#include <climits>
#include <utility>

namespace zq
{
namespace
{

// The file-layer mode for a flag set, or null for a combination that cannot be opened.
const char* fileLayerMode(openmode mode)
{
    const bool in = any(mode & openmode::in);
    const bool out = any(mode & openmode::out);
    const bool trunc = any(mode & openmode::trunc);
    const bool app = any(mode & openmode::app);
    const bool binary = any(mode & openmode::binary);
    if (app)
    {
        return trunc ? nullptr : (binary ? "ab" : "a");
    }
    if (in && out)
    {
        return trunc ? (binary ? "w+b" : "w+") : (binary ? "r+b" : "r+");
    }
    if (out)
    {
        return binary ? "wb" : "w";
    }
    if (in && !trunc)
    {
        return binary ? "rb" : "r";
    }
    return nullptr;
}

} // namespace

fstream::~fstream()
{
    if (file_ != nullptr)
    {
        zqfs_fclose(file_);
    }
}

void fstream::open(const std::string& path, openmode mode)
{
    if (file_ != nullptr)
    {
        close();
    }
    const char* layerMode = fileLayerMode(mode);
    file_ = layerMode != nullptr ? zqfs_fopen(path.c_str(), layerMode) : nullptr;
    gcount_ = 0;
    if (file_ == nullptr)
    {
        state_ = kFailBit;
        canRead_ = canWrite_ = false;
        return;
    }
    state_ = 0;
    canRead_ = any(mode & openmode::in);
    canWrite_ = any(mode & (openmode::out | openmode::app));
}

void fstream::close()
{
    if (file_ == nullptr)
    {
        return;
    }
    if (zqfs_fclose(std::exchange(file_, nullptr)) != 0)
    {
        state_ |= kFailBit;
    }
}

fstream& fstream::read(char* dest, std::size_t count)
{
    gcount_ = 0;
    if (file_ == nullptr || !canRead_ || !good())
    {
        state_ |= kFailBit;
        return *this;
    }
    gcount_ = zqfs_fread(dest, 1, count, file_);
    if (gcount_ < count)
    {
        state_ |= kEofBit | kFailBit;
    }
    return *this;
}

fstream& fstream::write(const char* src, std::size_t count)
{
    if (file_ == nullptr || !canWrite_ || fail())
    {
        state_ |= kFailBit | kBadBit;
        return *this;
    }
    if (count != 0 && zqfs_fwrite(src, 1, count, file_) != count)
    {
        state_ |= kFailBit | kBadBit;
    }
    return *this;
}

fstream& fstream::flush()
{
    if (file_ == nullptr || zqfs_fflush(file_) != 0)
    {
        state_ |= kFailBit | kBadBit;
    }
    return *this;
}

fstream& fstream::seek(long long offset, seekdir dir)
{
    // Like a standard stream, a seek first forgets that the end was reached.
    state_ &= ~kEofBit;
    if (file_ == nullptr || fail() || offset < LONG_MIN || offset > LONG_MAX)
    {
        state_ |= kFailBit;
        return *this;
    }
    int whence = dir == seekdir::beg ? 0 : dir == seekdir::cur ? 1 : 2;
    if (zqfs_fseek(file_, static_cast<long>(offset), whence) != 0)
    {
        state_ |= kFailBit;
    }
    return *this;
}

fstream& fstream::seekg(long long offset, seekdir dir)
{
    return seek(offset, dir);
}

fstream& fstream::seekp(long long offset, seekdir dir)
{
    return seek(offset, dir);
}

long long fstream::tell(bool allowed) const
{
    if (file_ == nullptr || !allowed || fail())
    {
        return -1;
    }
    return zqfs_ftell(file_);
}

std::size_t fstream::held_bytes() const
{
    return fileHeldBytes(file_);
}

std::size_t fstream::held_bytes_after_write(std::size_t count) const
{
    return fileHeldBytesAfterWrite(file_, count);
}

std::size_t fstream::length() const
{
    return fileLength(file_);
}

long long fstream::tellg() const
{
    return tell(canRead_);
}

long long fstream::tellp() const
{
    return tell(canWrite_);
}

} // namespace zq
