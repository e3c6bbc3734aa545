#include "daemons/vornd/ReplyCache.h"
#include "daemons/vornd/StatusService.h"
#include "tav/comm/MessageStream.h"
#include "tav/comm/TextMessage.h"
#include "tests/daemons/daemons_support.h"

#include <gtest/gtest.h>

using namespace vornd;

namespace {

const Members MEMBERS{"alpha", "beta", "idle"};
const std::string OPEN = "ACL=other::r--\n";

std::string answer(const TAV::Message& request, const ResourceModel& model, Caller& caller) {
    return describe(*answerStatus(request, caller, model, MEMBERS));
}

std::string answerTo(const std::vector<std::string>& entries, const ResourceModel& model) {
    MadeUpCaller root("root", {}, true);
    return answer(statusRequest(entries), model, root);
}

ResourceModel smallModel() {
    return modelOf({"NAME=net\nTYPE=listener\nTARGET@alpha=ONLINE\nTARGET@beta=OFFLINE\n"
                    "STATE@alpha=OFFLINE\nSTATE@beta=ONLINE\nCURRENT_FAILURE@beta=4\n",
                    "NAME=db1\nTYPE=app\nIS_RUNNABLE=1\nEXTRA=x\nTARGET=ONLINE\n"
                    "STATE@alpha=ONLINE\nCURRENT_FAILURE=2\n" +
                        OPEN,
                    "NAME=bare\nTYPE=t\n"});
}

TEST(Answer, GivesEachFormItsPartOfAResource) {
    const ResourceModel model = smallModel();
    const std::string db1 = "db1{IS_RUNNABLE=1 NAME=db1 STATE{alpha=ONLINE} TARGET{=ONLINE} "
                            "TYPE=app}";
    const std::string bare = "bare{NAME=bare TYPE=t}";
    const std::string net = "net{NAME=net STATE{alpha=OFFLINE beta=ONLINE} "
                            "TARGET{alpha=ONLINE beta=OFFLINE} TYPE=listener}";
    const std::pair<std::vector<std::string>, std::string> table[] = {
        {{"VERB_TAG=0", "LONG_TAG=1", "HOST_TAG=0", "TAV_VORN_LEGACY=true", "LATER=x"},
         bare + " " + db1 + " " + net},
        {{"RESOURCE=db1", "VERB_TAG=1"},
         "db1{CURRENT_FAILURE{=2} EXTRA=x IS_RUNNABLE=1 NAME=db1 STATE{alpha=ONLINE} "
         "TARGET{=ONLINE} TYPE=app}"},
        {{"PRINT_TAG=1", "PRINT=db1", "RESOURCE=net"},
         "db1{ACL=other::r-- EXTRA=x IS_RUNNABLE=1 NAME=db1 TYPE=app}"},
        {{"FULL_TAG=1", "FULL=db1"},
         "db1{ACL=other::r-- CURRENT_FAILURE{=2} EXTRA=x IS_RUNNABLE=1 NAME=db1 "
         "STATE{alpha=ONLINE} TARGET{=ONLINE} TYPE=app}"},
        {{"LIST_TAG=1", "LIST=db1\1bare"}, bare + " db1{ACL=other::r-- NAME=db1 TYPE=app}"},
        {{"HOST=beta", "VERB_TAG=1"},
         "net{CURRENT_FAILURE{beta=4} NAME=net STATE{beta=ONLINE} TARGET{beta=OFFLINE} "
         "TYPE=listener}"},
        {{"HOST=alpha", "RESOURCE=db1"}, db1},
        {{"HOST=beta", "RESOURCE=db1"}, ""},
    };
    for (const auto& [entries, reply] : table) EXPECT_EQ(answerTo(entries, model), reply);
}

TEST(Answer, GivesNumbersWhereThereIsNothingToShow) {
    const ResourceModel model = smallModel();
    const ResourceModel none;
    const std::pair<std::vector<std::string>, int> table[] = {
        {{"ISREGISTERED_TAG=1", "RESOURCE=db1"}, 0},
        {{"ISREGISTERED_TAG=1", "RESOURCE=x"}, 210},
        {{"ISRUNNING_TAG=1", "RESOURCE=net", "HOST=beta"}, 0},
        {{"ISRUNNING_TAG=1", "RESOURCE=net", "HOST=alpha"}, 1},
        {{"ISRUNNING_TAG=1", "RESOURCE=bare"}, 1},
        {{"ISRUNNING_TAG=1", "RESOURCE=x"}, 210},
        {{"ISRUNNING_TAG=1", "RESOURCE=net", "HOST=gamma"}, 230},
        {{"HOST="}, 230},
        {{"ISRUNNING_TAG=1"}, 300},
        {{"FULL_TAG=1", "LIST_TAG=1"}, 300},
    };
    for (const auto& [entries, number] : table)
        EXPECT_EQ(answerTo(entries, model), "RESULT=" + std::to_string(number)) << entries[0];
    EXPECT_EQ(answerTo({"RESOURCE=x"}, none), "RESULT=202");
    EXPECT_EQ(answerTo({"ISREGISTERED_TAG=1", "RESOURCE=x"}, none), "RESULT=210");

    MadeUpCaller root("root", {}, true);
    TAV::Container odd = statusRequest({});
    odd.SetMessage("RESOURCE", TAV::Container("db1"));
    EXPECT_EQ(answer(odd, model, root), "RESULT=300");
    EXPECT_EQ(answer(TAV::Container("UI_START"), model, root), "RESULT=300");
    EXPECT_EQ(answer(TAV::TextMessage("UI_STAT"), model, root), "RESULT=300");
}

/// By lists, who of the user "owner" in group staff, the user "friend" in staff and dba, a stranger
/// and somebody without a name may read.
TEST(Answer, ReadingFollowsTheAccessControlList) {
    MadeUpCaller callers[] = {
        {"owner", {"staff"}}, {"friend", {"staff", "dba"}}, {"stranger", {}}, {"", {}}};
    const std::pair<const char*, const char*> table[] = {
        {"owner:owner:r--,pgrp:dba:---,other::---", "yes no no no"},
        {"other::r--,pgrp:dba:-wx,owner:owner:-wx", "no no yes yes"},
        {"owner:owner:---,user:owner:r--,pgrp:staff:r--,other::r--", "no yes yes yes"},
        {"user:friend:---,group:dba:r--,other::r--", "yes no yes yes"},
        {"group:dba:r--,group:staff:---,other::r--", "no yes yes yes"},
        {"owner:owner:rwx,pgrp:dba:r-x,other::r--,", "no no no no"},
        {"owner:owner:rwx,user:friend:R--", "no no no no"},
        {"owner::r--,other::r--", "no no no no"},
        {"other::r-", "no no no no"},
        {"", "no no no no"},
    };
    for (const auto& [acl, expected] : table) {
        const ResourceModel model = modelOf({std::string("NAME=a\nTYPE=t\nACL=") + acl});
        std::string readers;
        for (MadeUpCaller& caller : callers)
            readers += std::string(readers.empty() ? "" : " ") +
                       (mayRead(*model.find("a"), caller) ? "yes" : "no");
        EXPECT_EQ(readers, expected) << acl;
    }
}

TEST(Answer, CallersAreUsersOfThisMachine) {
    const ResourceModel model = modelOf({"NAME=a\nTYPE=t\nACL=owner:bin:r--,group:daemon:r--"});
    const std::pair<const char*, bool> table[] = {{"root", true},   {"bin", true},
                                                  {"daemon", true}, {"nobody", false},
                                                  {"2", false},     {"none-such", false}};
    for (const auto& [user, expected] : table) {
        SystemCaller caller(user);
        EXPECT_EQ(mayRead(*model.find("a"), caller), expected) << user;
    }
}

/// Of two resources the last byte that fits the largest frame, and one more.
TEST(Answer, IsANumberWhenTheReplyDoesNotFitAFrame) {
    MadeUpCaller root("root", {}, true);
    const TAV::Container request = statusRequest({"PRINT_TAG=1"});
    const auto replyFor = [&](std::size_t filler) {
        const ResourceModel model = modelOf({"NAME=a\nTYPE=t\nSTATE=x\n" + OPEN,
                                             "NAME=b\nTYPE=t\nFILL=" + std::string(filler, 'x')});
        return answerStatus(request, root, model, MEMBERS);
    };
    const std::size_t size = TAV::MessageStream().encode(*replyFor(0)).size();
    const std::size_t room = TAV::MessageStream::MAX_FRAME - size;
    EXPECT_EQ(TAV::MessageStream().encode(*replyFor(room)).size(), TAV::MessageStream::MAX_FRAME);
    EXPECT_EQ(describe(*replyFor(room + 1)), "RESULT=301");
}

/// Whoever may read everything gets the bytes that a reply of its own would have.
TEST(ReplyCache, SharesTheFramesOfWholeListings) {
    const auto model = std::make_shared<const ResourceModel>(smallModel());
    const auto open =
        std::make_shared<const ResourceModel>(modelOf({"NAME=a\nTYPE=t\nSTATE@alpha=x\n" + OPEN}));
    MadeUpCaller root("root", {}, true);
    MadeUpCaller stranger("stranger", {});
    ReplyCache cache;
    const std::vector<std::string> table[] = {{},
                                              {"VERB_TAG=1"},
                                              {"PRINT_TAG=1"},
                                              {"FULL_TAG=1", "HOST=beta"},
                                              {"HOST=beta"},
                                              {"HOST=alpha"},
                                              {"LIST_TAG=1"},
                                              {"HOST=gamma"},
                                              {"FULL_TAG=1"},
                                              {"RESOURCE=db1"},
                                              {"FULL_TAG=1", "LIST_TAG=1"}};
    for (int round = 0; round < 2; ++round)
        for (const auto& entries : table)
            for (const auto& [caller, now] : {std::pair<Caller*, ModelPointer>{&root, model},
                                              {&stranger, model},
                                              {&stranger, open},
                                              {&root, open}}) {
                const TAV::Container request = statusRequest(entries);
                EXPECT_EQ(
                    *cache.frameFor(request, *caller, now, MEMBERS),
                    TAV::MessageStream().encode(*answerStatus(request, *caller, *now, MEMBERS)));
            }
    const auto listing = [&](Caller& caller, const ModelPointer& now) {
        return cache.frameFor(statusRequest({}), caller, now, MEMBERS);
    };
    EXPECT_EQ(listing(root, open), listing(stranger, open));
    EXPECT_NE(listing(root, model), listing(stranger, model));
}

} // namespace
