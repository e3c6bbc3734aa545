#pragma once

#include "tools/evmshow/Filter.h"
#include "tools/evmshow/Printer.h"
#include "tools/evmshow/RecordFeed.h"

#include <string>
#include <string_view>

namespace evmshow {

/// One line on standard error.
void complain(std::string_view subject, std::string_view text);

/// Tells on standard error what of one file is skipped: one line for each region.
class SkipReport {
public:
    explicit SkipReport(std::string file) : m_file(std::move(file)) {}

    void add(const Stretch& skipped);
    /// Tells the region that was collected, if any.
    void close();

private:
    const std::string m_file;
    std::uint64_t m_offset = 0;
    std::uint64_t m_size = 0;
    Fault m_fault = Fault::DAMAGED;
};

/// What is done with the records of all files.
class Session {
public:
    /// `printer` may be null, to count only. Both must outlive the session.
    Session(const Filter& filter, Printer* printer) : m_filter(filter), m_printer(printer) {}

    /// Takes everything that the feed can tell now.
    void take(RecordFeed& feed, SkipReport& report);

    [[nodiscard]] std::uint64_t accepted() const { return m_accepted; }
    [[nodiscard]] bool complete() const { return m_complete; }
    /// Something was lost that no feed tells of.
    void noteLoss() { m_complete = false; }

private:
    const Filter& m_filter;
    Printer* const m_printer;
    std::uint64_t m_accepted = 0;
    bool m_complete = true;
};

} // namespace evmshow
