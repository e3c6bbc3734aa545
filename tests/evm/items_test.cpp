#include "evm/libevm/names.h"
#include "tests/evm/evm_support.h"

#include <tuple>

namespace {

EvmVarValue_t stringValue(const char* text) {
    EvmVarValue_t value{};
    value.STRING = text;
    return value;
}

std::string nameOf(EvmEvent_t event) {
    EvmItemValue_t value;
    if (EvmItemGet(event, EvmITEM_NAME, &value) != EvmERROR_NONE) return "-";
    std::string name = value.NAME;
    EvmItemRelease(EvmITEM_NAME, value);
    return name;
}

std::vector<std::string> variablesOf(EvmEvent_t event) {
    EvmVarList_t names = nullptr;
    EvmCount_t count = 0;
    EXPECT_EQ(EvmVarListGet(event, &count, &names), EvmERROR_NONE);
    std::vector<std::string> found;
    for (char** name = names; *name != nullptr; ++name) found.emplace_back(*name);
    EXPECT_EQ(found.size(), count);
    EXPECT_EQ(EvmVarListFree(names), EvmERROR_NONE);
    return found;
}

/// One faulty list and the status that it gives, for a new event and for one that is there.
template <class... Items>
void expectRefused(EvmStatus_t wanted, Items... items) {
    Event created;
    EXPECT_EQ(EvmEventCreateVa(created.out(), EvmITEM_PRIORITY, 1, items..., EvmITEM_NONE), wanted);
    EXPECT_EQ(created, nullptr);
    const Event event(make_event("a.b"));
    const RecordBytes before = record_bytes(event);
    EXPECT_EQ(EvmItemSetVa(event, EvmITEM_PRIORITY, 1, items..., EvmITEM_NONE), wanted);
    EXPECT_EQ(record_bytes(event), before);
}

TEST(ItemList, EveryFaultHasItsStatusAndChangesNothing) {
    const char* const noText = nullptr;
    const void* const noData = nullptr;
    const EvmVarStruct_t dataless{EvmTYPE_OPAQUE, "x", {}, 1, 0};
    const EvmVarStruct_t beyond{static_cast<EvmVarType_t>(14), "x", {}, 0, 0};
    for (const int id : {-1, 24, 511, 512, 513, 1023, 1038})
        expectRefused(EvmERROR_INVALID_ARGUMENT, id, 0);
    expectRefused(EvmERROR_NOT_IMPLEMENTED, EvmITEM_UNUSED_1, 0);
    expectRefused(EvmERROR_INVALID_ARGUMENT, EvmITEM_NAME, noText);
    expectRefused(EvmERROR_INVALID_ARGUMENT, EvmITEM_VAR, noData);
    expectRefused(EvmERROR_INVALID_ARGUMENT, EvmITEM_VAR, &dataless);
    expectRefused(EvmERROR_INVALID_ARGUMENT, EvmITEM_VAR_INT32, noText, 1);
    expectRefused(EvmERROR_INVALID_ARGUMENT, EvmITEM_VAR_STRING, "x", noText);
    expectRefused(EvmERROR_INVALID_ARGUMENT, EvmITEM_VAR_OPAQUE, "x", noData, 1);
    expectRefused(EvmERROR_INVALID_ARGUMENT, EvmITEM_VAR_OPAQUE, "x", "abc", -1);
    expectRefused(EvmERROR_INVALID_ARGUMENT, EvmITEM_VAR_INT32, "x", 1, EvmITEM_VAR_CHAR, "x", 2);
    expectRefused(EvmERROR_INVALID_VALUE, EvmITEM_PRIORITY, 701);
    expectRefused(EvmERROR_INVALID_VALUE, EvmITEM_NAME, "a.*");
    expectRefused(EvmERROR_INVALID_VALUE, EvmITEM_VAR_INT32, "x-y", 1);
    expectRefused(EvmERROR_INVALID_VALUE, EvmITEM_VAR, &beyond);
    EXPECT_EQ(EvmEventCreateVa(nullptr, EvmITEM_NONE), EvmERROR_INVALID_ARGUMENT);
}

TEST(ItemList, ReplacingLeavesNoGapAndMovesToTheEnd) {
    const Event event(event_of(EvmITEM_NAME, "a.b", EvmITEM_REPEAT_COUNT, 1, EvmITEM_VAR_CHAR, "x",
                               'X', EvmITEM_REF, "r"));
    ASSERT_EQ(
        EvmItemSetVa(event, EvmITEM_NAME, "longer.name", EvmITEM_REPEAT_COUNT, 2, EvmITEM_NONE),
        EvmERROR_NONE);
    EXPECT_EQ(body_hex(event), "1700000028000000 0200000002000000 0100000000000000 "
                               "7800000000000000 5800000000000000 1600000010000000 "
                               "7200000000000000 0100000018000000 6c6f6e6765722e6e "
                               "616d650000000000 0c00000010000000 0200000000000000");
    // Shrinking: the variable becomes a shorter one, the name goes back.
    ASSERT_EQ(EvmItemSetVa(event, EvmITEM_VAR_OPAQUE, "x", "", 0, EvmITEM_NAME, "n", EvmITEM_NONE),
              EvmERROR_NONE);
    EXPECT_EQ(body_hex(event), "1600000010000000 7200000000000000 0c00000010000000 "
                               "0200000000000000 1700000020000000 0d00000002000000 "
                               "0000000000000000 7800000000000000 0100000010000000 "
                               "6e00000000000000");
    EXPECT_EQ(EvmEventValidate(event), EvmERROR_NONE);
}

TEST(ItemList, ItemNamedTwiceIsHeldOnceWithItsLastValue) {
    const Event event(event_of(EvmITEM_NAME, "first.and.long", EvmITEM_PRIORITY, 1, EvmITEM_REF,
                               "r", EvmITEM_NAME, "b", EvmITEM_PRIORITY, 2));
    EXPECT_EQ(body_hex(event),
              "1600000010000000 7200000000000000 0100000010000000 6200000000000000");
    EvmItemSetVa(event, EvmITEM_REF, "long enough for more", EvmITEM_REF, "s", EvmITEM_NONE);
    EXPECT_EQ(body_hex(event),
              "0100000010000000 6200000000000000 1600000010000000 7300000000000000");
}

TEST(Items, AreReadBackAndListed) {
    const Event event(event_of(EvmITEM_VAR_INT32, "v", 1, EvmITEM_MEMBER_ID, -3,
                               EvmITEM_REPEAT_COUNT, -1, EvmITEM_CLUSTER_EVENT, EvmTRUE,
                               EvmITEM_USER_NAME, ""));
    EvmItemValue_t value;
    EXPECT_EQ(EvmItemGet(event, EvmITEM_MEMBER_ID, &value), EvmERROR_NONE);
    EXPECT_EQ(value.MEMBER_ID, -3);
    EXPECT_EQ(EvmItemGet(event, EvmITEM_REPEAT_COUNT, &value), EvmERROR_NONE);
    EXPECT_EQ(value.REPEAT_COUNT, UINT32_MAX);
    EXPECT_EQ(EvmItemGet(event, EvmITEM_EVENT_ID, &value), EvmERROR_NOT_PRESENT);
    EXPECT_EQ(EvmItemGet(event, EvmITEM_NAME, &value), EvmERROR_NOT_PRESENT);
    EXPECT_EQ(EvmItemGet(event, EvmITEM_VAR, &value), EvmERROR_INVALID_ARGUMENT);
    EvmItemList_t ids = nullptr;
    EvmCount_t count = 0;
    ASSERT_EQ(EvmItemListGet(event, &count, &ids), EvmERROR_NONE);
    EXPECT_EQ(std::vector(ids, ids + count + 1),
              (std::vector{EvmITEM_CLUSTER_EVENT, EvmITEM_MEMBER_ID, EvmITEM_REPEAT_COUNT,
                           EvmITEM_USER_NAME, EvmITEM_NONE}));
    EXPECT_EQ(EvmItemListFree(ids), EvmERROR_NONE);
}

TEST(Items, AreSetFromSixtyFourBits) {
    const Event event(make_event("a.b"));
    const EvmVarStruct_t variable{EvmTYPE_STRING, "v", stringValue("text"), 0, 0};
    EXPECT_EQ(EvmItemSetu(event, EvmITEM_EVENT_ID, 0x500000007), EvmERROR_NONE);
    EXPECT_EQ(EvmItemSetu(event, EvmITEM_VAR, reinterpret_cast<std::uint64_t>(&variable)),
              EvmERROR_NONE);
    EXPECT_EQ(EvmItemSetu(event, EvmITEM_UNUSED_1, 0), EvmERROR_NOT_IMPLEMENTED);
    EXPECT_EQ(EvmItemSetu(event, EvmITEM_VAR_INT32, 0), EvmERROR_INVALID_ARGUMENT);
    EXPECT_EQ(EvmItemSetu(event, EvmITEM_NAME, 0), EvmERROR_INVALID_ARGUMENT);
    EvmItemValue_t value;
    EvmItemGet(event, EvmITEM_EVENT_ID, &value);
    EXPECT_EQ(value.EVENT_ID, 7U);
    EXPECT_EQ(variablesOf(event), std::vector<std::string>{"v"});
}

TEST(Variables, AreSetReadReplacedAndReleased) {
    const Event event(make_event("a.b"));
    // The logger's call: a string whose length is not told.
    EXPECT_EQ(EvmVarSet(event, "TAV_LOG", EvmTYPE_STRING, stringValue("text"), 0, 0),
              EvmERROR_NONE);
    EXPECT_EQ(EvmVarSet(event, "s", EvmTYPE_STRING, stringValue("ab"), 4, 1000000), EvmERROR_NONE);
    EXPECT_EQ(EvmVarSetUint32(event, "u", 7), EvmERROR_NONE);
    EXPECT_EQ(EvmVarSetString(event, "TAV_LOG", "new"), EvmERROR_NONE);
    EXPECT_EQ(variablesOf(event), (std::vector<std::string>{"s", "u", "TAV_LOG"}));

    EvmVarStruct_t variable;
    ASSERT_EQ(EvmVarGet(event, "s", &variable), EvmERROR_NONE);
    EXPECT_EQ(std::tuple(variable.type, variable.length, variable.msgId),
              std::tuple(EvmTYPE_STRING, 3U, 4));
    EXPECT_STREQ(variable.value.STRING, "ab");
    EXPECT_EQ(EvmVarRelease(&variable), EvmERROR_NONE);
    EXPECT_EQ(EvmVarRelease(&variable), EvmERROR_INVALID_VALUE) << "and frees nothing twice";

    std::uint32_t number = 0;
    EXPECT_EQ(EvmVarGetUint32(event, "u", &number), EvmERROR_NONE);
    EXPECT_EQ(number, 7U);
    EXPECT_EQ(EvmVarGetUint32(event, "s", &number), EvmERROR_INVALID_VALUE);
    EXPECT_EQ(EvmVarGetBoolean(event, "absent", &number), EvmERROR_NOT_PRESENT);
    char* text = nullptr;
    int length = 0;
    EXPECT_EQ(EvmVarGetString(event, "TAV_LOG", &text, &length), EvmERROR_NONE);
    EXPECT_STREQ(text, "new");
    EXPECT_EQ(length, 4);
    std::free(text);
    EXPECT_EQ(EvmVarSet(event, "bad-name", EvmTYPE_INT32, {}, 0, 0), EvmERROR_INVALID_ARGUMENT);
    EXPECT_EQ(EvmVarSetString(event, "x", nullptr), EvmERROR_INVALID_ARGUMENT);
}

TEST(Names, AreChecked) {
    const auto check = [](const char* name, bool wild) {
        EvmCount_t components = 0;
        const EvmStatus_t status = evm::_evmNameCheck(name, wild, &components);
        return status == EvmERROR_NONE ? static_cast<int>(components) : -1;
    };
    struct {
        const char* name;
        int plain; ///< components; -1 when refused
        int wild;
    } const cases[] = {{"", 0, 0},     {"a", 1, 1},      {"a.b_2.C", 3, 3}, {".a", -1, -1},
                       {"a.", -1, -1}, {"a..b", -1, -1}, {"a-b", -1, -1},   {"a.*", -1, 2},
                       {"?.a", -1, 2}, {"a.*b", -1, -1}, {"a.**", -1, -1},  {"\xC3\xA4", -1, -1}};
    for (const auto& c : cases) {
        EXPECT_EQ(check(c.name, false), c.plain) << c.name;
        EXPECT_EQ(check(c.name, true), c.wild) << c.name;
    }
}

TEST(AutoExtend, AppendsUnderscoreVariablesOnce) {
    const Event event(event_of(EvmITEM_NAME, "a._there", EvmITEM_VAR_STRING, "_s", "x y/z",
                               EvmITEM_VAR_INT32, "_n", -12, EvmITEM_VAR_INT32, "plain", 1,
                               EvmITEM_VAR_OPAQUE, "_o", "\1", 1, EvmITEM_VAR_STRING, "_empty", "",
                               EvmITEM_VAR_STRING, "_junk", "!?", EvmITEM_VAR_BOOLEAN, "_b", 1,
                               EvmITEM_VAR_INT32, "_there", 3));
    EvmCount_t added = 99;
    EXPECT_EQ(EvmEventAutoExtendName(event, &added), EvmERROR_NONE);
    EXPECT_EQ(nameOf(event), "a._there._s.xyz._n.12._o.OPAQUE._b.True");
    EXPECT_EQ(added, 4U);
    EXPECT_EQ(EvmEventAutoExtendName(event, &added), EvmERROR_NONE);
    EXPECT_EQ(added, 0U);
}

TEST(AutoExtend, CopesWithNoNameAnEmptyNameAndLongValues) {
    const Event nameless(event_of(EvmITEM_VAR_INT32, "_x", 1));
    EXPECT_EQ(EvmEventAutoExtendName(nameless, nullptr), EvmERROR_NOT_PRESENT);
    const std::string text(5000, 'v');
    const Event empty(event_of(EvmITEM_NAME, "", EvmITEM_VAR_STRING, "_x", text.c_str()));
    EXPECT_EQ(EvmEventAutoExtendName(empty, nullptr), EvmERROR_NONE);
    EXPECT_EQ(nameOf(empty), "_x." + text);
}

TEST(Memory, RunningOutLeavesEventsAsTheyWere) {
    struct {
        int needed; ///< allocations; with fewer the operation fails
        EvmStatus_t (*operation)(EvmEvent_t);
    } const cases[] = {
        {3, [](EvmEvent_t) { return EvmEventCreateVa(Event().out(), EvmITEM_NAME, "x", 0); }},
        {2, [](EvmEvent_t event) { return EvmEventDup(Event().out(), event); }},
        {2, [](EvmEvent_t event) { return EvmItemSetVa(event, EvmITEM_NAME, "much.longer", 0); }},
        {2, [](EvmEvent_t event) { return EvmVarSetString(event, "o", "longer than before"); }},
        {3, [](EvmEvent_t event) { return EvmEventAutoExtendName(event, nullptr); }},
    };
    for (const auto& c : cases) {
        const Event event(event_of(EvmITEM_NAME, "a", EvmITEM_VAR_STRING, "_s", "value",
                                   EvmITEM_VAR_OPAQUE, "o", "\1", 1));
        const RecordBytes before = record_bytes(event);
        for (int granted = 0; granted < c.needed; ++granted) {
            const AllocationLimit limit(granted);
            EXPECT_EQ(c.operation(event), EvmERROR_NO_MEMORY) << c.needed << ' ' << granted;
            EXPECT_EQ(record_bytes(event), before);
        }
        EXPECT_EQ(c.operation(event), EvmERROR_NONE) << c.needed;
    }
}

} // namespace
