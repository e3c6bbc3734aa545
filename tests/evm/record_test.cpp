#include "evm/libevm/checksum.h"
#include "evm/libevm/exchange.h"
#include "tests/evm/evm_support.h"

namespace {

std::string headerHex(EvmEvent_t event, std::size_t from, std::size_t length) {
    return hex(evm::recordOf(*event).subspan(from, length));
}

std::uint32_t presenceOf(EvmEvent_t event) {
    return evm::load<std::uint32_t>(evm::recordOf(*event), 60);
}

TEST(Record, HeaderItemsLieWhereTheirReadersLook) {
    constexpr auto LARGE = std::int64_t{0x1122334455667788};
    const auto expectAt = [](EvmItemId_t id, auto value, std::size_t offset,
                             std::string_view bytes) {
        SCOPED_TRACE(bytes);
        const Event event(event_of(id, value));
        EXPECT_EQ(presenceOf(event), 1U << id);
        EXPECT_EQ(headerHex(event, offset, bytes.size() / 2), bytes);
        EXPECT_EQ(body_hex(event), "");
    };
    expectAt(EvmITEM_KERNEL_ONLY, EvmTRUE, 56, "04000000");
    expectAt(EvmITEM_CLUSTER_EVENT, 1, 56, "02000000");
    expectAt(EvmITEM_PRIORITY, 700, 72, "bc020000");
    expectAt(EvmITEM_PRIORITY, 0x10005, 72, "05000000");
    expectAt(EvmITEM_PID, LARGE, 80, "8877665544332211");
    expectAt(EvmITEM_PPID, std::int64_t{-2}, 96, "feffffffffffffff");
    expectAt(EvmITEM_EVENT_ID, 0x01020304, 76, "04030201");
    expectAt(EvmITEM_MEMBER_ID, -3, 88, "fdffffff00000000");
    expectAt(EvmITEM_TIMESTAMP, LARGE, 64, "8877665544332211");
    expectAt(EvmITEM_HOST_IP, 0x0100007F, 104, "7f000001");
}

/// The body is what is given, its item is marked as present, and the record's size agrees.
void expectBody(EvmEvent_t owned, const std::string& body) {
    SCOPED_TRACE(body);
    const Event event(owned);
    EXPECT_EQ(body_hex(event), body);
    EXPECT_EQ(presenceOf(event), 1U << std::to_integer<unsigned>(from_hex(body)[0]));
    EXPECT_EQ(evm::controlSize(evm::recordOf(*event)), evm::HEADER_SIZE + from_hex(body).size());
}

TEST(Record, EveryBodyItemHasItsBlock) {
    constexpr auto LARGE = std::int64_t{0x0102030405060708};
    expectBody(event_of(EvmITEM_NAME, "a.b"), "0100000010000000 612e620000000000");
    expectBody(event_of(EvmITEM_REPEAT_COUNT, 5), "0c00000010000000 0500000000000000");
    expectBody(event_of(EvmITEM_LAST_TIMESTAMP, LARGE), "0d00000010000000 0807060504030201");
    expectBody(event_of(EvmITEM_I18N_MSG_ID, -1), "0e00000010000000 ffffffff00000000");
    expectBody(event_of(EvmITEM_I18N_SET_ID, 7), "0f00000010000000 0700000000000000");
    expectBody(event_of(EvmITEM_I18N_CATALOG, "1234567"), "1000000010000000 3132333435363700");
    expectBody(event_of(EvmITEM_CLUSTER_IP, 1), "1100000010000000 0100000000000000");
    expectBody(event_of(EvmITEM_HOST_NAME, "12345678"),
               "1200000018000000 3132333435363738 0000000000000000");
    expectBody(event_of(EvmITEM_CLUSTER_NAME, ""), "1300000010000000 0000000000000000");
    expectBody(event_of(EvmITEM_USER_NAME, "u"), "1400000010000000 7500000000000000");
    expectBody(event_of(EvmITEM_FORMAT, "$x"), "1500000010000000 2478000000000000");
    expectBody(event_of(EvmITEM_REF, "r"), "1600000010000000 7200000000000000");
}

TEST(Record, EveryVariableTypeHasItsBlock) {
    struct {
        EvmEvent_t event;
        std::string_view type;
        std::string_view length;
        std::string_view value;
    } const layouts[] = {
        {event_of(EvmITEM_VAR_BOOLEAN, "n", EvmTRUE), "01", "01", "0100000000000000"},
        {event_of(EvmITEM_VAR_CHAR, "n", 'A'), "02", "01", "4100000000000000"},
        {event_of(EvmITEM_VAR_INT16, "n", -2), "03", "02", "feff000000000000"},
        {event_of(EvmITEM_VAR_INT32, "n", -2), "04", "04", "feffffff00000000"},
        {event_of(EvmITEM_VAR_INT64, "n", std::int64_t{-2}), "05", "08", "feffffffffffffff"},
        {event_of(EvmITEM_VAR_UINT8, "n", 0x1FF), "06", "01", "ff00000000000000"},
        {event_of(EvmITEM_VAR_UINT16, "n", 0x1FFFE), "07", "02", "feff000000000000"},
        {event_of(EvmITEM_VAR_UINT32, "n", 0x01020304), "08", "04", "0403020100000000"},
        {event_of(EvmITEM_VAR_UINT64, "n", UINT64_MAX), "09", "08", "ffffffffffffffff"},
        {event_of(EvmITEM_VAR_FLOAT, "n", 1.5), "0a", "04", "0000c03f00000000"},
        {event_of(EvmITEM_VAR_DOUBLE, "n", 1.5), "0b", "08", "000000000000f83f"},
        {event_of(EvmITEM_VAR_STRING, "n", ""), "0c", "01", "0000000000000000"},
        {event_of(EvmITEM_VAR_OPAQUE, "n", "\1\2\3", 3), "0d", "03", "0102030000000000"},
    };
    for (const auto& layout : layouts)
        expectBody(layout.event, "1700000028000000 " + std::string(layout.type) +
                                     "00000002000000 " + std::string(layout.length) +
                                     "00000000000000 6e00000000000000 " +
                                     std::string(layout.value));
    expectBody(event_of(EvmITEM_VAR_STRING_I18N, "n", "12345678", 9),
               "1700000030000000 0c00000002000000 0900000009000000 6e00000000000000 "
               "3132333435363738 0000000000000000");
    expectBody(event_of(EvmITEM_VAR_OPAQUE, "n", nullptr, 0),
               "1700000020000000 0d00000002000000 0000000000000000 6e00000000000000");
    expectBody(event_of(EvmITEM_VAR_CHAR, "n1234567", 'A'),
               "1700000030000000 0200000009000000 0100000000000000 6e31323334353637 "
               "0000000000000000 4100000000000000");
}

TEST(Record, IsPreparedForWritingByteForByte) {
    const Event event(make_event("a.b"));
    ASSERT_EQ(evm::recordOf(*event).size(), 136U);
    evm::_evmEventPrepare(*event);
    EXPECT_EQ(hex(evm::recordOf(*event)),
              "8800000001000000 0902010000000000 0000000000000000 0000000000000000 "
              "0000000000000000 0000000000000000 0300010088000000 2000000002000000 "
              "0000000000000000 0000860200000000 0000000000000000 0000000000000000 "
              "0000000000000000 0000000002005476 0002000008000000 0100000010000000 "
              "612e620000000000");
    EXPECT_EQ(evm::_evmChecksumCalc(evm::recordOf(*event)), 646);
    Event copy;
    EXPECT_EQ(EvmEventDup(copy.out(), event), EvmERROR_NONE);
    EXPECT_EQ(record_bytes(copy), record_bytes(event));
    // A change takes the checksum away, until the record is written again.
    EvmItemSetVa(event, EvmITEM_PRIORITY, 1, EvmITEM_NONE);
    EXPECT_EQ(headerHex(event, 56, 4), "00000000");
    evm::_evmEventPrepare(*event);
    EXPECT_EQ(headerHex(event, 74, 2), "a702"); // and 1 for the priority, 32 for its presence
}

TEST(Record, ChecksumFoldsWhateverTheLength) {
    // The plain definition, over records whose bodies end at every place within a word and that
    // are long enough for the sum to need folding twice.
    for (const std::size_t size : {120U, 121U, 127U, 128U, 1200U, 1201U, 600007U}) {
        RecordBytes record(size, std::byte{0xFF});
        put(record, 52, static_cast<std::uint32_t>(size));
        std::uint32_t sum = 0;
        for (std::size_t at = 48; at < size; ++at)
            if (at != 74 && at != 75) sum += std::to_integer<std::uint32_t>(record[at]);
        const std::uint32_t once = (sum >> 16) + (sum & 0xFFFF);
        EXPECT_EQ(evm::_evmChecksumCalc(record),
                  static_cast<std::uint16_t>((once >> 16) + (once & 0xFFFF)))
            << size;
    }
}

TEST(Record, OldVersionIsTranslated) {
    const Event event(make_event("a.b"));
    RecordBytes old = record_bytes(event);
    old.erase(old.begin() + 112, old.begin() + 120);
    put<std::uint32_t>(old, 52, 128);
    put<std::uint16_t>(old, 108, 1);
    Event made;
    ASSERT_EQ(evm::_evmEventWrap(old, made.out()), EvmERROR_NONE);
    EXPECT_EQ(record_bytes(made), record_bytes(event));

    // With a checksum: its own is tested first, then it gets a fresh one.
    evm::_evmChecksumInsert(old);
    Event summed;
    ASSERT_EQ(evm::_evmEventWrap(old, summed.out()), EvmERROR_NONE);
    evm::_evmChecksumInsert(evm::recordOf(*event));
    EXPECT_EQ(record_bytes(summed), record_bytes(event));
    old[64] = std::byte{1};
    EXPECT_EQ(evm::_evmEventWrap(old, summed.out()), EvmERROR_INVALID_VALUE);
}

} // namespace
