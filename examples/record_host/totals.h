// totals.h - what the report counts.
#pragma once

#include "records.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>

/// The records of one day.
struct DayTotal {
    std::uint64_t records = 0;
    XCTimeEx first;
    XCTimeEx last;
};

/// The longest time without a record.
struct Pause {
    long seconds = 0;
    XCDateEx day; ///< of the record before it
    XCTimeEx time;
};

/// Counts the records of all batches. Memory: one entry for each day and each kind.
class Totals {
public:
    using Days = std::map<XCDateEx, DayTotal>;
    using Kinds = std::map<XCString, std::uint64_t, std::less<>>;

    void Add(RecordBatch const& batch);

    XCString source; ///< empty as long as there was no batch
    std::uint64_t lines = 0;
    std::uint64_t malformedLines = 0;
    std::uint64_t records = 0;
    Days days;
    Kinds kinds;
    std::array<std::uint64_t, 24> hours{};
    Pause longestPause;
    XCString lastRecord;

private:
    void AddRecord(RecordBatch const& batch, Record const& record);
    void MeasurePause(Record const& record);

    XCDateEx m_lastDay;
    XCTimeEx m_lastTime;
};
