#include "tools/evmshow/Printer.h"

#include "evm/libevm/event_handle.h"
#include "evm/libevm/event_text.h"
#include "evm/libevm/exchange.h"
#include "evm/libevm/value_text.h"
#include "tools/evmshow/RecordView.h"
#include "tools/evmshow/Template.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

namespace evmshow {

namespace {

/// What a line is tried with first, and the longest one, where it is cut: every text of the largest
/// record fits, but a template that repeats one cannot exhaust the memory.
constexpr std::size_t FIRST_ROOM = 4 * 1024;
constexpr std::size_t LONGEST_LINE = evm::RECORD_MAX;

/// A record as an event of its own.
class Event {
public:
    explicit Event(evm::Bytes record) {
        if (evm::_evmEventWrap(record, &m_event) != EvmERROR_NONE) throw std::bad_alloc();
    }
    ~Event() { EvmEventDestroy(m_event); }
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    [[nodiscard]] EvmEvent_t get() const { return m_event; }
    [[nodiscard]] evm::Bytes record() const { return evm::recordOf(*m_event); }

private:
    EvmEvent_t m_event = nullptr;
};

/// Calls `use` with the record in the current version, which all formatting wants.
template <class Use>
void withCurrent(evm::Bytes record, Use use) {
    if (isOldVersion(record))
        use(Event(record).record());
    else
        use(record);
}

/// Whether all characters are printable ones of ASCII; looks at eight at a time.
bool isPlain(std::string_view text) {
    static constexpr std::uint64_t EACH = 0x0101010101010101;
    std::uint64_t high = 0; // the highest bit of a byte is set by one outside ' ' to '~'
    for (; text.size() >= sizeof high; text.remove_prefix(sizeof high)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data(), sizeof word);
        high |= word | (word - EACH * ' ') | (word + EACH);
    }
    if ((high & EACH * 0x80) != 0) return false;
    for (const char c : text)
        if (c < ' ' || c > '~') return false;
    return true;
}

/// Puts a text that `render` writes into a buffer, made printable: what the library takes from data
/// items it leaves as it is.
template <class Render>
void putText(Output& out, Render render) {
    for (std::size_t size = FIRST_ROOM;; size *= 2) {
        const std::span<char> room = out.room(size);
        evm::TextBuffer text(room.data(), room.size());
        render(text);
        if (text.full() && size < LONGEST_LINE) continue;
        if (isPlain(text.text())) {
            out.took(text.position());
            return;
        }
        const std::string copy(text.text());
        evm::TextBuffer printable(room.data(), room.size());
        printable.putPrintable(copy);
        out.took(printable.position());
        return;
    }
}

class LinePrinter final : public Printer {
public:
    explicit LinePrinter(Output& out) : m_out(out) {}

    void print(evm::Bytes record) override {
        withCurrent(record, [this](evm::Bytes current) {
            putText(m_out, [current](evm::TextBuffer& text) { putOneLine(text, current, 0); });
        });
        m_out.put("\n");
    }

private:
    Output& m_out;
};

class TemplatePrinter final : public Printer {
public:
    TemplatePrinter(Output& out, const std::string& text)
        : m_out(out), m_parts(splitTemplate(text)) {}

    void print(evm::Bytes record) override {
        withCurrent(record, [this](evm::Bytes current) {
            for (const TemplatePart& part : m_parts) {
                putText(m_out, [&](evm::TextBuffer& text) {
                    putCallersTemplate(text, current, part.text);
                });
                m_out.put(part.control);
            }
        });
        m_out.put("\n");
    }

private:
    Output& m_out;
    const std::vector<TemplatePart> m_parts;
};

/// The library dumps on a stream; this one writes into memory that is used again and again.
class DumpPrinter final : public Printer {
public:
    explicit DumpPrinter(Output& out) : m_out(out), m_stream(open_memstream(&m_text, &m_size)) {
        if (m_stream == nullptr) throw std::bad_alloc();
    }
    ~DumpPrinter() override {
        std::fclose(m_stream);
        std::free(m_text);
    }
    DumpPrinter(const DumpPrinter&) = delete;
    DumpPrinter& operator=(const DumpPrinter&) = delete;

    void print(evm::Bytes record) override {
        const Event event(record);
        std::rewind(m_stream);
        const EvmStatus_t status = EvmEventDump(event.get(), m_stream);
        if (std::fflush(m_stream) != 0 || status == EvmERROR_NO_MEMORY) throw std::bad_alloc();
        putLines({m_text, m_size});
    }

private:
    void putLines(std::string_view text) {
        while (!text.empty()) {
            const std::string_view line = text.substr(0, text.find('\n'));
            putText(m_out, [line](evm::TextBuffer& buffer) { buffer.put(line); });
            m_out.put("\n");
            text.remove_prefix(std::min(line.size() + 1, text.size()));
        }
    }

    Output& m_out;
    char* m_text = nullptr;
    std::size_t m_size = 0;
    std::FILE* m_stream;
};

class VariablePrinter final : public Printer {
public:
    VariablePrinter(Output& out, std::string name) : m_out(out), m_name(std::move(name)) {}

    void print(evm::Bytes record) override {
        withCurrent(record, [this](evm::Bytes current) {
            const auto variable = evm::findVariable(current, m_name);
            if (!variable) return;
            char area[evm::VALUE_TEXT_SIZE];
            m_out.put(variable->type == EvmTYPE_OPAQUE ? bytesOf(*variable)
                                                       : variableText(*variable, area));
        });
    }

private:
    static std::string_view bytesOf(const evm::Variable& variable) {
        const void* const bytes = variable.value.data();
        return {static_cast<const char*>(bytes), variable.value.size()};
    }

    Output& m_out;
    const std::string m_name;
};

} // namespace

std::unique_ptr<Printer> makePrinter(Form form, const std::string& text, Output& out) {
    switch (form) {
    case Form::LINE:
        return std::make_unique<LinePrinter>(out);
    case Form::TEMPLATE:
        return std::make_unique<TemplatePrinter>(out, text);
    case Form::DUMP:
        return std::make_unique<DumpPrinter>(out);
    case Form::VARIABLE:
        return std::make_unique<VariablePrinter>(out, text);
    default:
        return nullptr;
    }
}

} // namespace evmshow
