#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

/// The plainest programs for the same work. Nothing here is defensive, general or shared with the daemon.
namespace baseline
{

/// A sample of the size of the daemon's.
struct Node
{
    uint32_t time;
    int64_t value;
    Node* next;
    char rest[40];
};

static_assert(sizeof(Node) == 64);

/// Lists of nodes, one for each parameter, each in chunks of its own.
class History
{
public:
    explicit History(size_t parameters);
    void log(uint32_t time, const int64_t* values);
    /// Walks every list once and adds up what it sees.
    int64_t walk() const;

private:
    struct List
    {
        Node* first = nullptr;
        Node* last = nullptr;
        std::vector<std::unique_ptr<Node[]>> chunks;
        size_t used = 0;
    };
    Node* make(List& list);

    std::vector<List> m_lists;
};

/// Merges two sorted arrays of ids and counts what is in one alone.
size_t merge(const std::vector<uint32_t>& have, const std::vector<uint32_t>& want);

/// A description of the size of the daemon's.
struct Record
{
    uint32_t id;
    char rest[212];
};

/// The same with two sorted arrays of descriptions.
size_t merge(const std::vector<Record>& have, const std::vector<Record>& want);

/// A file that is written with one write() a row.
class RowFile
{
public:
    explicit RowFile(const std::string& path);
    ~RowFile();
    RowFile(const RowFile&) = delete;
    RowFile& operator=(const RowFile&) = delete;

    /// Local time, then each value with a tab in front and its decimals.
    void writeText(uint32_t time, const std::vector<int64_t>& values, const std::vector<uint8_t>& decimals);
    /// Big-endian, each value in its width: 1, 2 or 4 bytes.
    void writeBinary(uint32_t time, const std::vector<int64_t>& values, const std::vector<uint8_t>& widths);

private:
    void flushRow();

    int m_file;
    std::string m_row;
};

/// A table of hours, written in pieces of a few kilobytes.
class TableFile
{
public:
    TableFile(const std::string& path, int columns);
    ~TableFile();
    TableFile(const TableFile&) = delete;
    TableFile& operator=(const TableFile&) = delete;

    void beginRow(int year, int month, int day, int hour);
    void add(int64_t value, uint8_t decimals);
    void addNothing();

private:
    FILE* m_file;
    std::string m_row;
};

/// Reads a binary log of known layout and writes it as text, all by hand.
void binaryToText(const std::string& from, const std::string& to, const std::vector<uint8_t>& widths,
                  const std::vector<bool>& isUnsigned, const std::vector<uint8_t>& decimals, size_t headSize);

} // namespace baseline
