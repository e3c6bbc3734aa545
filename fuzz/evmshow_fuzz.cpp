#include "tools/evmshow/CommandLine.h"
#include "tools/evmshow/RecordFeed.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

void require(bool held) {
    if (!held) std::abort();
}

struct Record {
    std::uint64_t offset;
    std::size_t size;
    bool operator==(const Record&) const = default;
};

/// Gives the bytes in portions; the stretches must lie one behind the other and cover everything.
std::vector<Record> recordsOf(evm::Bytes bytes, std::size_t portion, evmshow::Printer* printer) {
    const evmshow::Filter filter{{*evmshow::NamePattern::parse("*a*.*.?")}};
    std::vector<Record> records;
    std::uint64_t covered = 0;
    std::size_t chosen = 0;
    evmshow::RecordFeed feed(portion);
    const auto takeAll = [&] {
        while (const auto found = feed.next()) {
            require(found->offset == covered && !found->bytes.empty());
            covered += found->bytes.size();
            if (found->kind != evmshow::Piece::Kind::RECORD) continue;
            records.push_back({found->offset, found->bytes.size()});
            if (filter.accepts(found->bytes)) ++chosen;
            if (printer != nullptr) printer->print(found->bytes);
        }
    };
    for (evm::Bytes rest = bytes; !rest.empty();) {
        const std::span<std::byte> room = feed.room();
        const std::size_t count = std::min({room.size(), rest.size(), portion});
        std::memcpy(room.data(), rest.data(), count);
        feed.filled(count);
        rest = rest.subspan(count);
        takeAll();
    }
    feed.finish();
    takeAll();
    require(covered == bytes.size() && chosen <= records.size());
    return records;
}

} // namespace

/// Whatever the bytes are, they are told apart the same way in any portions, and every record that
/// is found can be printed in every form.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using evmshow::Form;
    const auto* const begin = static_cast<const std::byte*>(static_cast<const void*>(data));
    const evm::Bytes bytes(begin, size);
    const std::vector<Record> whole = recordsOf(bytes, size + 1, nullptr);
    // Nothing is ever flushed: what is left in the buffer is dropped.
    evmshow::Output out(-1);
    std::size_t portion = 1;
    for (const auto& [form, text] :
         {std::pair(Form::LINE, ""), std::pair(Form::DUMP, ""),
          std::pair(Form::TEMPLATE, "@@ $a%9\\t@ref"), std::pair(Form::VARIABLE, "a")}) {
        const auto printer = evmshow::makePrinter(form, text, out);
        try {
            require(recordsOf(bytes, portion, printer.get()) == whole);
        } catch (const evmshow::OutputError&) {
            // More was printed than the buffer holds.
        }
        portion = portion * 7 + 50;
    }
    return 0;
}
