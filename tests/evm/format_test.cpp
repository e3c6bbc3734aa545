#include "evm/libevm/messages.h"
#include "evm/libevm/text_buffer.h"
#include "tests/evm/evm_support.h"

#include <limits>

namespace {

constexpr std::size_t AREA = 512;

std::string oneLine(EvmEvent_t event, std::uint32_t options = 0) {
    char text[AREA];
    EXPECT_EQ(EvmEventFormatOpt(text, sizeof text, event, options), EvmERROR_NONE);
    return text;
}

std::string byTemplate(EvmEvent_t event, const char* form) {
    char text[AREA];
    EXPECT_EQ(EvmEventFormatFromTemplate(text, sizeof text, form, event), EvmERROR_NONE);
    return text;
}

std::string wrapped(std::string_view text, std::size_t width, std::size_t indent) {
    char out[AREA];
    evm::TextBuffer buffer(out, sizeof out);
    evm::_evmWrap(text, buffer, width, indent);
    return out;
}

/// An event with the variable x = "val", the priority 5 and the template given.
EvmEvent_t eventWithFormat(const char* format) {
    return event_of(EvmITEM_NAME, "a.b", EvmITEM_PRIORITY, 5, EvmITEM_FORMAT, format,
                    EvmITEM_VAR_STRING, "x", "val");
}

TEST(Template, OfTheEventItself) {
    struct {
        const char* format;
        const char* text;
    } const cases[] = {
        {"@priority", "5"},
        {"@PRIORITY.", "5."},
        {"@event_id", "@event_id"},
        {"@kernel_only@cluster_event", "FalseFalse"},
        {"@unused_1 @var @nothing", "@unused_1 @var @nothing"},
        {"$x ${x}y $absent", "val valy $absent"},
        {"${x y @{name", "val y a.b"},
        {"$ $} @ @@name ${}", "$ $} @ @a.b $"},
        {"\\$x \\\\ \\a end\\", "$x \\ a end"},
        {"a\tb\x01\x7f", "a b##"},
        {"\xC3\xA4\xFF\xE2\x82\xAC\xED\xA0\x80\xC2\x80\xC3", "\xC3\xA4#\xE2\x82\xAC#####"},
        {"%s %n $x%5", "%s %n val%5"},
        {"", ""},
    };
    for (const auto& c : cases) {
        const Event event(eventWithFormat(c.format));
        EXPECT_EQ(oneLine(event), c.text) << c.format;
    }
}

TEST(Template, OfTheCaller) {
    const Event event(eventWithFormat("own $x \\@@"));
    struct {
        const char* form;
        const char* text;
    } const cases[] = {{"@priority @event_id", "5 -"},
                       {"@event_id%4| @priority%3|", "-   | 5  |"},
                       {"${x}%5| ${x%5}| $x%5| $x%2|", "val  | val  | val  | val|"},
                       {"${x%5 }|", "val   }|"},
                       {"${x%5}%7|", "val  %7|"},
                       {"$x%|%d $x% ", "val%|%d val% "},
                       {"${x%}", "val%}"},
                       {"$%5 @{}%5", "$%5 @%5"},
                       {"$nope%7| @nope%7| @nope%1|", "$nope  | @nope  | @nope|"},
                       {"$x%000512|", "val  |"}, // only the first four digits count
                       {"[@@] [@@@priority]", "[own val @@] [own val @@5]"},
                       {"\\t\\n\\x\\\\\\", "\t\nx\\\\"},
                       {"a\tb\nc", "a b c"}};
    for (const auto& c : cases) EXPECT_EQ(byTemplate(event, c.form), c.text) << c.form;
}

TEST(Template, KnowsRepetitionAndItsOption) {
    const Event event(eventWithFormat("text"));
    EvmItemSetVa(event, EvmITEM_REPEAT_COUNT, 1, EvmITEM_NONE);
    EXPECT_EQ(oneLine(event), "text");
    EvmItemSetVa(event, EvmITEM_REPEAT_COUNT, 2, EvmITEM_NONE);
    EXPECT_EQ(oneLine(event), "[2 times] text");
    EXPECT_EQ(oneLine(event, EvmFORMAT_NO_REPEAT_COUNT), "text");
    const Event plain(event_of(EvmITEM_NAME, "ab", EvmITEM_REPEAT_COUNT, 3));
    EXPECT_TRUE(oneLine(plain, EvmFORMAT_NO_REPEAT_COUNT).starts_with("[3 times] Unformatted"));
    EXPECT_EQ(byTemplate(event, "<@@>"), "<[2 times] text>");
}

TEST(Buffer, OfEverySizeIsTerminatedAndNeverOverrun) {
    const Event event(eventWithFormat("abc $x \xC3\xA4@@"));
    const std::string whole = oneLine(event);
    char text[AREA];
    for (std::size_t size = 0; size <= whole.size() + 2; ++size) {
        std::memset(text, '!', sizeof text);
        const EvmStatus_t status = EvmEventFormat(text, size, event);
        EXPECT_EQ(status, size == 0 ? EvmERROR_INVALID_VALUE : EvmERROR_NONE);
        EXPECT_EQ(text[size], '!');
        if (size == 0) continue;
        // The two bytes of one character come together or not at all.
        std::size_t fits = std::min(size - 1, whole.size());
        if (fits == whole.find('\xC3') + 1) --fits;
        EXPECT_EQ(text, whole.substr(0, fits));
    }
    EXPECT_EQ(EvmEventFormatFromTemplate(text, 1, "abcdef", event), EvmERROR_NONE);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(EvmEventFormatFromTemplate(text, 8, "$x%9999|", event), EvmERROR_NONE);
    EXPECT_STREQ(text, "val    ");
}

TEST(Values, OfItems) {
    const auto format = [](EvmItemId_t id, std::uint64_t number, int width = 0) {
        EvmItemValue_t value{};
        value.TIMESTAMP = number;
        char text[AREA];
        EXPECT_EQ(EvmItemFormatValue(id, value, text, sizeof text, width), EvmERROR_NONE);
        return std::string(text);
    };
    EXPECT_EQ(format(EvmITEM_HOST_IP, 0x0100007F), "127.0.0.1");
    EXPECT_EQ(format(EvmITEM_TIMESTAMP, 86399), "01-Jan-1970 23:59:59");
    EXPECT_EQ(format(EvmITEM_LAST_TIMESTAMP, UINT64_MAX), "18446744073709551615");
    EXPECT_EQ(format(EvmITEM_PID, static_cast<std::uint64_t>(-5)), "-5");
    EXPECT_EQ(format(EvmITEM_EVENT_ID, 0xFFFFFFFF), "-1");
    EXPECT_EQ(format(EvmITEM_REPEAT_COUNT, 0xFFFFFFFF), "4294967295");
    EXPECT_EQ(format(EvmITEM_KERNEL_ONLY, 1, 6), "True  ");
    EXPECT_EQ(format(EvmITEM_VAR, 1), "Unknown item id 23");
    EXPECT_EQ(format(EvmITEM_NONE, 1, std::numeric_limits<int>::max()).size(), AREA - 1);
    EvmItemValue_t value{};
    value.NAME = "\xC3\xA4\x01";
    char text[8];
    EXPECT_EQ(EvmItemFormatValue(EvmITEM_REF, value, text, sizeof text, 4), EvmERROR_NONE);
    EXPECT_STREQ(text, "\xC3\xA4\x01  ") << "widths count characters";
}

TEST(Values, OfVariables) {
    const Event event(event_of(EvmITEM_VAR_BOOLEAN, "b", 2, EvmITEM_VAR_CHAR, "c0", 0,
                               EvmITEM_VAR_UINT32, "u32", -1, EvmITEM_VAR_FLOAT, "f", 0.1,
                               EvmITEM_VAR_DOUBLE, "d", 1e100 / 3, EvmITEM_VAR_STRING, "s",
                               "a\tb\x02"));
    EXPECT_EQ(byTemplate(event, "$b [$c0] $u32 $f $d"), "True [] 4294967295 0.1 3.3333333e+99");
    char text[5];
    EvmVarFormat(event, "s", text, sizeof text, EvmTRUE);
    EXPECT_STREQ(text, "a b#");
    EvmVarFormat(event, "s", text, sizeof text, EvmFALSE);
    EXPECT_STREQ(text, "a\tb\x02");
    EXPECT_EQ(EvmVarFormat(event, "nope", text, sizeof text, EvmTRUE), EvmERROR_NOT_PRESENT);
    EXPECT_STREQ(text, "$nop");
    char* whole = nullptr;
    EXPECT_EQ(EvmVarFormat2(event, "nope", &whole), EvmERROR_NOT_PRESENT);
    EXPECT_STREQ(whole, "$nope");
    std::free(whole);
}

TEST(Wrap, BreaksAtSpacesOrHard) {
    EXPECT_EQ(wrapped("aaaa bbbb cccc", 10, 4), "aaaa \n    bbbb \n    cccc");
    EXPECT_EQ(wrapped("abcdefghijklm", 10, 4), "abcdef\n    ghijkl\n    m");
    EXPECT_EQ(wrapped("ab cdefghij", 10, 4), "ab \n    cdefgh\n    ij");
    EXPECT_EQ(wrapped("a bc defg", 10, 4), "a bc \n    defg") << "the last space that leaves room";
    EXPECT_EQ(wrapped("abcdef    gh", 10, 4), "abcdef\n    gh");
    EXPECT_EQ(wrapped("  one  \n two\t\n", 20, 2), "one\n  two\n  ");
    EXPECT_EQ(wrapped("\xC3\xA4\xC3\xA4\xC3\xA4", 3, 1), "\xC3\xA4\xC3\xA4\n \xC3\xA4");
    EXPECT_EQ(wrapped("ab", 2, 1), "a\n b");
    for (const std::size_t indent : {10U, 11U, 400U})
        EXPECT_EQ(wrapped("too long a line for that", 10, indent), "too long a line for that");
}

TEST(Characters, ArePrintableByTheirCharacterSet) {
    const evm::CharacterSet utf8("C.UTF-8");
    const evm::CharacterSet ascii("C");
    EXPECT_EQ(evm::printableForm(ascii.first("\xC3\xA4x"), "\xC3\xA4x"), "#");
    EXPECT_EQ(utf8.count("\xC3\xA4-\xFF"), 3U);
    EXPECT_EQ(ascii.count("\xC3\xA4-\xFF"), 4U);
    EXPECT_EQ(evm::CharacterSet("no_SUCH.locale").first("\xC3\xA4").printable, false);
}

std::string dump(EvmEvent_t event, EvmStatus_t wanted = EvmERROR_NONE) {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const stream = open_memstream(&text, &size);
    EXPECT_EQ(EvmEventDump(event, stream), wanted);
    std::fclose(stream);
    std::string result(text, size);
    std::free(text);
    return result;
}

TEST(Dump, DescribesEverythingByteForByte) {
    Event event;
    const std::string longText = "0123456789 123456789 123456789 123456789 123456789 123456789 "
                                 "123456789 123456789 123456789";
    ASSERT_EQ(EvmEventCreateVa(event.out(), EvmITEM_NAME, "a.b", EvmITEM_CLUSTER_EVENT, EvmTRUE,
                               EvmITEM_FORMAT, "value is $number", EvmITEM_REF, longText.c_str(),
                               EvmITEM_VAR_INT32, "number", 5, EvmITEM_VAR_STRING_I18N, "text",
                               "a\tb", 7, EvmITEM_VAR_STRING, "a_rather_long_name",
                               longText.c_str(), EvmITEM_VAR_STRING, "short", longText.c_str(),
                               EvmITEM_NONE),
              EvmERROR_NONE);
    EXPECT_EQ(dump(event), "\nFormatted Message:\n"
                           "    value is 5\n"
                           "\nEvent Data Items:\n"
                           "    Event Name        : a.b\n"
                           "    Cluster Event     : True\n"
                           "    Format            : value is $number\n"
                           "    Reference         : 0123456789 123456789 123456789 123456789 "
                           "123456789 \n"
                           "                        123456789 123456789 123456789 123456789\n"
                           "\nVariable Items:\n"
                           "    number (INT32) = 5\n"
                           "    text (STRING) [Msg-id 7] = \"a b\"\n"
                           "    a_rather_long_name (STRING) = \n"
                           "            \"0123456789 123456789 123456789 123456789 123456789 "
                           "123456789 \n"
                           "             123456789 123456789 123456789\"\n"
                           "    short (STRING) = \"0123456789 123456789 123456789 123456789 "
                           "123456789 \n"
                           "                      123456789 123456789 123456789 123456789\"\n");
}

TEST(Dump, StopsAtAnItemThatCannotBeRead) {
    const Event event(make_event("a.b"));
    EXPECT_TRUE(dump(event).ends_with("\nVariable Items:\n    None\n"));
    const auto record = evm::recordOf(*event);
    evm::store<std::uint32_t>(record, 60, 1U << EvmITEM_REF); // but there is no such block
    EXPECT_TRUE(dump(event, EvmERROR_NOT_PRESENT)
                    .ends_with("\nEvent Data Items:\nEvmEventDump: Failed to get item - 4\n"));
}

TEST(Messages, AreNeverTakenAsAFormat) {
    testing::internal::CaptureStderr();
    evm::_evmErrorMsg(evm::MESSAGE_SET_STATUS, 3, "%n", 5);
    evm::_evmErrorMsg(evm::MESSAGE_SET_STATUS, 99, "%n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "EVM-1003: Invalid argument\n\nMessage / Message file not found\n");
}

} // namespace
