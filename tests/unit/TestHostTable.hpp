// A host table for tests: records console lines, serves queued input lines and keeps files in memory.
#pragma once

#include <velmar/lua/HostInterface.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace testhost
{

class TestHost
{
  public:
    TestHost()
    {
        std::memcpy(table.magic, "ZQAP", 4);
        table.live = 1;
        table.size = ZQ_API_BOOT_SIZE;
        table.stat_file = statFile;
        table.write_file = writeFile;
        table.delete_file = deleteFile;
        table.write_line = writeLine;
        table.read_line = readLine;
        table.allocate = allocate;
        table.release = release;
        table.resize = resize;
        table.release_file_bytes = releaseFileBytes;
    }

    // Turns on the desktop extension: every stat's bytes must then come back exactly once.
    void enableReleaseSlot() { table.size = ZQ_API_FULL_SIZE; }

    void putFile(const std::string& name, const std::string& bytes)
    {
        retire(name);
        files[name] = std::make_shared<const std::string>(bytes);
    }
    bool hasFile(const std::string& name) const { return files.count(name) != 0; }
    std::string file(const std::string& name) const
    {
        auto found = files.find(name);
        return found == files.end() ? std::string("<missing>") : *found->second;
    }

    zq_program_api table{};
    std::vector<std::string> lines;
    std::deque<std::string> input;
    std::vector<std::pair<std::string, std::uint32_t>> readRequests; // prompt and capacity of each read
    std::vector<std::pair<std::string, std::string>> writes;         // every whole-file write, in order
    std::vector<std::string> deletes;
    int stats = 0;
    int releases = 0;                        // calls of the release slot
    std::map<void*, std::size_t> liveBlocks; // memory handed out and not yet released
    bool refuseWrites = false;
    bool refuseDeletes = false;
    bool failAllocate = false;
    bool failResize = false;
    std::map<const void*, std::shared_ptr<const std::string>> outstanding; // stat bytes not yet released

    static inline TestHost* active = nullptr;

  private:
    // Without the release slot the host owns its bytes: old versions stay alive for open handles.
    void retire(const std::string& name)
    {
        auto found = files.find(name);
        if (found != files.end())
        {
            retired.push_back(found->second);
        }
    }

    static int statFile(const char* name, zq_file_stat* record)
    {
        ++active->stats;
        auto found = active->files.find(name);
        if (found == active->files.end())
        {
            return 0;
        }
        record->data = found->second->data();
        record->size = found->second->size();
        if (active->table.size >= ZQ_API_FULL_SIZE)
        {
            // A copy per stat, so a double release or a missing one shows in `outstanding`.
            auto copy = std::make_shared<const std::string>(*found->second);
            record->data = copy->data();
            active->outstanding[copy->data()] = copy;
        }
        return 1;
    }
    static int writeFile(const char* name, const void* data, std::size_t size)
    {
        if (active->refuseWrites)
        {
            return 0;
        }
        std::string bytes(static_cast<const char*>(data), size);
        active->writes.emplace_back(name, bytes);
        active->putFile(name, bytes);
        return 1;
    }
    static int deleteFile(const char* name)
    {
        if (active->refuseDeletes || active->files.count(name) == 0)
        {
            return 0;
        }
        active->deletes.emplace_back(name);
        active->retire(name);
        active->files.erase(name);
        return 1;
    }
    static int writeLine(const char* text)
    {
        active->lines.emplace_back(text);
        return 0;
    }
    static std::uint32_t readLine(char* buffer, std::uint32_t capacity, const char* prompt, std::uint8_t)
    {
        active->readRequests.emplace_back(prompt != nullptr ? prompt : "<null>", capacity);
        if (active->input.empty())
        {
            return 0;
        }
        std::string line = active->input.front();
        active->input.pop_front();
        line.resize(std::min<std::size_t>(line.size(), capacity - 1));
        std::memcpy(buffer, line.c_str(), line.size() + 1);
        return 1;
    }
    // Fresh memory is filled with 0xCD so that code relying on zeroed memory shows up.
    static void* allocate(std::size_t size)
    {
        if (active->failAllocate)
        {
            return nullptr;
        }
        void* block = std::malloc(size);
        std::memset(block, 0xCD, size);
        active->liveBlocks[block] = size;
        return block;
    }
    static void release(void* address)
    {
        ++active->releases;
        ASSERT_EQ(active->liveBlocks.erase(address), 1u) << "released memory that was not handed out";
        std::free(address);
    }
    static void* resize(void* address, std::size_t size)
    {
        if (active->failAllocate || active->failResize)
        {
            return nullptr;
        }
        void* block = allocate(size);
        if (address != nullptr)
        {
            std::memcpy(block, address, std::min(size, active->liveBlocks.at(address)));
            active->liveBlocks.erase(address);
            std::free(address);
        }
        return block;
    }
    static void releaseFileBytes(const void* data)
    {
        auto found = active->outstanding.find(data);
        ASSERT_NE(found, active->outstanding.end()) << "released bytes that were not handed out";
        active->outstanding.erase(found);
    }

    std::map<std::string, std::shared_ptr<const std::string>> files;
    std::vector<std::shared_ptr<const std::string>> retired;
};

// Installs a fresh TestHost for each test; afterwards drops any pending console text into it and puts
// the previous table back.
class TestHostFixture : public ::testing::Test
{
  protected:
    void SetUp() override
    {
        TestHost::active = &host;
        previous = zq_set_program_api(&host.table);
    }
    void TearDown() override
    {
        zq_set_program_api(&host.table);
        zq_lua_flush_output();
        zq_set_program_api(previous);
        EXPECT_TRUE(host.liveBlocks.empty()) << "file-layer memory leaked";
        EXPECT_TRUE(host.outstanding.empty()) << "stat bytes not released";
        TestHost::active = nullptr;
    }

    TestHost host;
    const zq_program_api* previous = nullptr;
};

} // namespace testhost
