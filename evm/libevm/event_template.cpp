#include "evm/libevm/event_text.h"
#include "evm/libevm/item_table.h"
#include "evm/libevm/names.h"
#include "evm/libevm/value_text.h"

#include <algorithm>

namespace evm {

namespace {

/// A reference to a variable or a data item.
struct Reference {
    char sign; ///< "$" or "@"
    std::string_view name;
    int width;
};

/// Where one kind of template differs from the other.
struct Dialect {
    bool controlEscapes; ///< "\t", "\n"; a backslash at the end stands for itself
    bool wholeMessage;   ///< "@@"
    bool widths;
    const char* absentItem; ///< null: the reference itself
};

constexpr Dialect OWN{false, false, false, nullptr};
constexpr Dialect CALLERS{true, true, true, "-"};

/// Walks over a template once.
class TemplateWalk {
public:
    TemplateWalk(TextBuffer& out, Bytes record, std::string_view text, const Dialect& dialect)
        : m_out(out), m_record(record), m_rest(text), m_dialect(dialect) {}

    void run() {
        while (!m_rest.empty() && !m_out.full()) {
            if (m_rest.front() == '\\')
                putEscaped();
            else if (m_rest.front() == '$' || m_rest.front() == '@')
                putReference();
            else
                putCharacter();
        }
    }

private:
    bool take(char wanted) {
        if (!m_rest.starts_with(wanted)) return false;
        m_rest.remove_prefix(1);
        return true;
    }

    void putCharacter() {
        const Character character = CharacterSet::ofEnvironment().first(m_rest);
        m_out.put(printableForm(character, m_rest));
        m_rest.remove_prefix(character.length);
    }

    void putEscaped() {
        take('\\');
        if (m_rest.empty()) {
            if (m_dialect.controlEscapes) m_out.put("\\");
        } else if (m_dialect.controlEscapes && take('t')) {
            m_out.put("\t");
        } else if (m_dialect.controlEscapes && take('n')) {
            m_out.put("\n");
        } else {
            putCharacter();
        }
    }

    void putReference() {
        if (m_dialect.wholeMessage && m_rest.starts_with("@@")) {
            m_rest.remove_prefix(2);
            // An event's own template knows no such reference: this goes one level deep.
            putOneLine(m_out, m_record, 0);
            return;
        }
        const Reference reference = readReference();
        if (reference.name.empty())
            m_out.put({&reference.sign, 1});
        else if (reference.sign == '$')
            putVariableReference(reference);
        else
            putItemReference(reference);
    }

    Reference readReference() {
        Reference reference{m_rest.front(), {}, 0};
        m_rest.remove_prefix(1);
        const bool braced = take('{');
        const auto length = static_cast<std::size_t>(
            std::ranges::find_if_not(m_rest, isNameCharacter) - m_rest.begin());
        reference.name = m_rest.substr(0, length);
        m_rest.remove_prefix(length);
        const bool widths = m_dialect.widths && length != 0;
        const bool widthRead = widths && readWidth(reference.width);
        if (braced && take('}') && widths && !widthRead) readWidth(reference.width);
        return reference;
    }

    /// A percent sign and digits; without a digit the percent sign stays where it is.
    bool readWidth(int& width) {
        static constexpr int DIGITS_MAX = 4; // further ones do not count
        const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
        if (m_rest.size() < 2 || m_rest[0] != '%' || !isDigit(m_rest[1])) return false;
        take('%');
        for (int digits = 0; !m_rest.empty() && isDigit(m_rest.front()); ++digits) {
            if (digits < DIGITS_MAX) width = width * 10 + (m_rest.front() - '0');
            m_rest.remove_prefix(1);
        }
        return true;
    }

    void putVariableReference(const Reference& reference) {
        const std::size_t start = m_out.position();
        if (const auto variable = findVariable(m_record, reference.name)) {
            putVariable(m_out, *variable, true);
        } else {
            m_out.put("$");
            m_out.put(reference.name);
        }
        m_out.padFrom(start, reference.width);
    }

    void putItemReference(const Reference& reference) {
        const ItemRow* const row = findItem(reference.name);
        const bool known = row != nullptr && row->formatted;
        ItemView item;
        char area[VALUE_TEXT_SIZE];
        if (known && readItem(m_record, row->id, item) == EvmERROR_NONE)
            m_out.putPadded(itemText(row->id, item, area), reference.width);
        else if (known && m_dialect.absentItem != nullptr)
            m_out.putPadded(m_dialect.absentItem, reference.width);
        else
            putUnresolved(reference);
    }

    void putUnresolved(const Reference& reference) {
        m_out.put("@");
        m_out.putPadded(reference.name, reference.width > 0 ? reference.width - 1 : 0);
    }

    TextBuffer& m_out;
    Bytes m_record;
    std::string_view m_rest;
    const Dialect& m_dialect;
};

} // namespace

void putOwnTemplate(TextBuffer& out, Bytes record, std::string_view text) {
    TemplateWalk(out, record, text, OWN).run();
}

void putCallersTemplate(TextBuffer& out, Bytes record, std::string_view text) {
    TemplateWalk(out, record, text, CALLERS).run();
}

} // namespace evm
