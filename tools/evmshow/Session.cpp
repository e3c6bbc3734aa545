#include "tools/evmshow/Session.h"

#include <iostream>

namespace evmshow {

namespace {

std::string_view nameOf(Fault fault) {
    switch (fault) {
    case Fault::TORN:
        return "torn at the end";
    case Fault::NOT_UNDERSTOOD:
        return "not understood";
    default:
        return "damaged";
    }
}

} // namespace

void complain(std::string_view subject, std::string_view text) {
    std::string line("evmshow: ");
    line.append(subject).append(subject.empty() ? "" : ": ").append(text).append("\n");
    std::cerr << line;
}

void SkipReport::add(const Stretch& skipped) {
    const bool continues =
        m_size != 0 && skipped.fault == m_fault && skipped.offset == m_offset + m_size;
    if (!continues) {
        close();
        m_offset = skipped.offset;
        m_fault = skipped.fault;
    }
    m_size += skipped.bytes.size();
}

void SkipReport::close() {
    if (m_size == 0) return;
    std::string text =
        "skipped " + std::to_string(m_size) + " bytes at " + std::to_string(m_offset) + ": ";
    complain(m_file, text.append(nameOf(m_fault)));
    m_size = 0;
}

void Session::take(RecordFeed& feed, SkipReport& report) {
    while (const auto stretch = feed.next()) {
        if (stretch->kind == Piece::Kind::SKIPPED) {
            report.add(*stretch);
            m_complete = false;
            continue;
        }
        report.close();
        if (!m_filter.accepts(stretch->bytes)) continue;
        ++m_accepted;
        if (m_printer != nullptr) m_printer->print(stretch->bytes);
    }
}

} // namespace evmshow
