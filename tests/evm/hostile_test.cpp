#include "evm/libevm/checksum.h"
#include "evm/libevm/exchange.h"
#include "tests/evm/evm_support.h"

namespace {

constexpr std::size_t BODY = 120;

/// A record with a name block of 16 bytes, a number block of 16 and a string variable of 48:
/// offsets 120, 136 and 152 to 200.
RecordBytes record() {
    const Event event(event_of(EvmITEM_NAME, "a.b", EvmITEM_REPEAT_COUNT, 3, EvmITEM_VAR_STRING,
                               "variable", "val"));
    return record_bytes(event);
}

EvmStatus_t accept(const RecordBytes& bytes) {
    // In a block of its own, so that reading behind it shows.
    const auto copy = std::make_unique<std::byte[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), copy.get());
    Event event;
    const EvmStatus_t status = evm::_evmEventWrap({copy.get(), bytes.size()}, event.out());
    EXPECT_EQ(event == nullptr, status != EvmERROR_NONE);
    return status;
}

/// Uses an event in every way that reads it, and edits it.
void exercise(EvmEvent_t event) {
    char text[300];
    EvmEventFormat(text, sizeof text, event);
    EvmEventFormatFromTemplate(text, sizeof text, "@@ ${variable}%8 @name", event);
    EvmVarStruct_t variable;
    if (EvmVarGet(event, "variable", &variable) == EvmERROR_NONE) EvmVarRelease(&variable);
    EvmVarSetUint32(event, "more", 1);
    EvmItemSetVa(event, EvmITEM_NAME, "new.name", EvmITEM_REPEAT_COUNT, 1, EvmITEM_NONE);
    EvmEventAutoExtendName(event, nullptr);
}

TEST(Hostile, StructuralLiesAreRefused) {
    ASSERT_EQ(record().size(), 200U);
    ASSERT_EQ(accept(record()), EvmERROR_NONE);
    struct {
        const char* what;
        std::size_t offset;
        std::uint32_t value;
    } const lies[] = {{"ident", 48, 0x10002},
                      {"record size of nothing", 52, 0},
                      {"record size below its header", 52, 116},
                      {"record size within a block", 52, 192},
                      {"record size beyond its bytes", 52, 208},
                      {"record size of 4 GiB", 52, 0xFFFFFFF8},
                      {"block size 0", BODY + 4, 0},
                      {"block size no multiple of 8", BODY + 4, 20},
                      {"block size beyond the record", BODY + 4, 88},
                      {"block size of 4 GiB", BODY + 4, 0xFFFFFFF8},
                      {"block size within the next block", BODY + 4, 24},
                      {"name without a NUL", BODY + 12, 0x78787878},
                      {"number without room", 140, 8},
                      {"variable without a whole head", 156, 16},
                      {"variable name length of nothing", 164, 0},
                      {"variable name length beyond the block", 164, 25},
                      {"variable name without a NUL", 164, 8},
                      {"string length of nothing", 168, 0},
                      {"string length beyond the block", 168, 9},
                      {"string without a NUL", 168, 3}};
    for (const auto& lie : lies) {
        RecordBytes bytes = record();
        put(bytes, lie.offset, lie.value);
        if (std::string_view(lie.what) == "name without a NUL")
            put(bytes, BODY + 8, std::uint32_t{0x78787878});
        EXPECT_EQ(accept(bytes), EvmERROR_INVALID_VALUE) << lie.what;
    }
    // The last block may not end in the middle of what follows it either.
    RecordBytes tail = record();
    tail.resize(204);
    put<std::uint32_t>(tail, 52, 204);
    EXPECT_EQ(accept(tail), EvmERROR_INVALID_VALUE);
}

TEST(Hostile, TruncationAtEveryLengthIsRefused) {
    const RecordBytes whole = record();
    for (std::size_t length = 0; length < whole.size(); ++length) {
        RecordBytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(accept(cut), EvmERROR_INVALID_VALUE) << length;
        // With a size that agrees, only an end between two blocks leaves a record; and one before
        // the header's extension, which makes it an old one without a body.
        put(cut, 52, static_cast<std::uint32_t>(length));
        const bool sound = length == 112 || length == 120 || length == 136 || length == 152;
        if (length < 56) continue;
        EXPECT_EQ(accept(cut), sound ? EvmERROR_NONE : EvmERROR_INVALID_VALUE) << length;
    }
}

TEST(Hostile, EveryFlippedBitIsFoundByTheChecksum) {
    RecordBytes bytes = record();
    evm::_evmChecksumInsert(bytes);
    ASSERT_EQ(accept(bytes), EvmERROR_NONE);
    for (std::size_t bit = 48 * 8; bit < bytes.size() * 8; ++bit) {
        if (bit == 56 * 8 + 5) continue; // the flag that says that there is a checksum
        RecordBytes damaged = bytes;
        damaged[bit / 8] ^= std::byte{1} << (bit % 8);
        EXPECT_EQ(accept(damaged), EvmERROR_INVALID_VALUE) << bit;
    }
    // Without the flag the checksum field means nothing.
    put<std::uint32_t>(bytes, 56, 0);
    put<std::uint16_t>(bytes, 74, 1);
    EXPECT_EQ(accept(bytes), EvmERROR_NONE);
}

TEST(Hostile, WhatPassesCanBeUsed) {
    const RecordBytes whole = record();
    for (std::size_t at = 56; at < whole.size(); ++at) {
        for (const unsigned value : {0x00U, 0x01U, 0x17U, 0x41U, 0x7FU, 0x80U, 0xFFU}) {
            RecordBytes bytes = whole;
            bytes[at] = static_cast<std::byte>(value);
            Event event;
            if (evm::_evmEventWrap(bytes, event.out()) == EvmERROR_NONE) exercise(event);
        }
    }
}

TEST(Hostile, ContentsAreValidated) {
    RecordBytes bytes = record();
    put<std::uint16_t>(bytes, 72, 701);
    EXPECT_EQ(accept(bytes), EvmERROR_NONE) << "absent items are no fault";
    put<std::uint32_t>(bytes, 60, 1U << EvmITEM_PRIORITY);
    EXPECT_EQ(accept(bytes), EvmERROR_INVALID_VALUE);
    bytes = record();
    bytes[BODY + 9] = std::byte{'-'};
    EXPECT_EQ(accept(bytes), EvmERROR_INVALID_VALUE);
}

TEST(Hostile, DoubledAndUnknownBlocksGiveNoStaleValues) {
    RecordBytes bytes = record();
    const RecordBytes twin(bytes.begin() + 120, bytes.end());
    bytes.insert(bytes.end(), twin.begin(), twin.end());
    const RecordBytes unknown = from_hex("00ff000010000000 0102030405060708 0000000008000000");
    bytes.insert(bytes.end(), unknown.begin(), unknown.end());
    put(bytes, 52, static_cast<std::uint32_t>(bytes.size()));
    Event event;
    ASSERT_EQ(evm::_evmEventWrap(bytes, event.out()), EvmERROR_NONE);
    EXPECT_EQ(EvmItemSetVa(event, EvmITEM_NAME, "n", EvmITEM_REPEAT_COUNT, 1, EvmITEM_VAR_STRING,
                           "variable", "v", EvmITEM_NONE),
              EvmERROR_NONE);
    EXPECT_EQ(body_hex(event), "00ff000010000000 0102030405060708 0100000010000000 "
                               "6e00000000000000 0c00000010000000 0100000000000000 "
                               "1700000030000000 0c00000009000000 0200000000000000 "
                               "7661726961626c65 0000000000000000 7600000000000000");
}

TEST(Hostile, SizesAreCappedBeforeAllocation) {
    RecordBytes header(120);
    put<std::uint16_t>(header, 48, 3);
    std::size_t size = 0;
    put(header, 52, static_cast<std::uint32_t>(evm::RECORD_MAX));
    EXPECT_EQ(evm::_evmRecordSize(header, size), EvmERROR_NONE);
    put(header, 52, static_cast<std::uint32_t>(evm::RECORD_MAX + 8));
    EXPECT_EQ(evm::_evmRecordSize(header, size), EvmERROR_INVALID_VALUE);
    // Nor can an event grow into what could not be read again.
    const std::string text(evm::RECORD_MAX / 2, 'x');
    Event event;
    EXPECT_EQ(EvmEventCreateVa(event.out(), EvmITEM_REF, text.c_str(), EvmITEM_NONE),
              EvmERROR_NONE);
    EXPECT_EQ(EvmVarSetString(event, "v", text.c_str()), EvmERROR_NO_MEMORY);
    // The data is never read: its length alone is too much.
    const EvmVarStruct_t variable{EvmTYPE_OPAQUE, "o", {"x"}, UINT32_MAX, 0};
    EXPECT_EQ(EvmItemSetVa(event, EvmITEM_VAR, &variable, EvmITEM_NONE), EvmERROR_NO_MEMORY);
    EXPECT_EQ(EvmEventValidate(event), EvmERROR_NONE);
}

TEST(Handles, DeadOnesAreRefusedByEveryOperation) {
    EvmEvent_t event = make_event("a.b");
    ASSERT_EQ(EvmEventDestroy(event), EvmERROR_NONE);
    int stranger = 0;
    const auto foreign = static_cast<EvmEvent_t>(static_cast<void*>(&stranger));
    char text[8] = "keep";
    EvmItemValue_t value;
    EvmVarStruct_t variable;
    char* string = nullptr;
    for (EvmEvent_t dead : {event, foreign, EvmEvent_t{nullptr}}) {
        const EvmStatus_t results[] = {EvmEventDup(&event, dead),
                                       EvmEventAutoExtendName(dead, nullptr),
                                       EvmItemSetVa(dead, EvmITEM_NONE),
                                       EvmItemSetu(dead, EvmITEM_PID, 1),
                                       EvmItemGet(dead, EvmITEM_PID, &value),
                                       EvmVarSet(dead, "x", EvmTYPE_INT32, {}, 0, 0),
                                       EvmVarGet(dead, "x", &variable),
                                       EvmVarGetString(dead, "x", &string, nullptr),
                                       EvmEventFormat(text, sizeof text, dead),
                                       EvmEventFormatAsDefault(text, sizeof text, dead),
                                       EvmEventFormatFromTemplate(text, sizeof text, "x", dead),
                                       EvmVarFormat(dead, "x", text, sizeof text, EvmTRUE),
                                       EvmEventDump(dead, stdout)};
        for (const EvmStatus_t result : results) EXPECT_EQ(result, EvmERROR_INVALID_ARGUMENT);
        EXPECT_STREQ(text, "keep");
        const EvmStatus_t gone =
            dead == nullptr ? EvmERROR_INVALID_ARGUMENT : EvmERROR_INVALID_VALUE;
        EXPECT_EQ(EvmEventDestroy(dead), gone);
        EXPECT_EQ(EvmEventValidate(dead), gone);
    }
}

TEST(Handles, ManyThreadsEachFindTheirOwn) {
    const auto work = [](std::size_t) {
        std::vector<EvmEvent_t> events;
        for (std::size_t round = 0; round < 20; ++round) {
            for (int made = 0; made < 200; ++made) events.push_back(make_event("a.b"));
            // Leaves gaps of every kind in the set.
            for (std::size_t at = round % 3; at < events.size(); at += 3) {
                EXPECT_EQ(EvmEventDestroy(events[at]), EvmERROR_NONE);
                EXPECT_EQ(EvmVarSetUint32(events[(at + 1) % events.size()], "x", 1), EvmERROR_NONE);
                events[at] = events.back();
                events.pop_back();
            }
        }
        for (EvmEvent_t event : events) EXPECT_EQ(EvmEventDestroy(event), EvmERROR_NONE);
    };
    on_threads(4, work);
}

} // namespace
