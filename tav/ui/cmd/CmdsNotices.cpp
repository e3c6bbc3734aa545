// What a command prints about itself and its node, beside its results.

#include "platform/include/node_config.h"
#include "tav/msg/TavLogger.h"
#include "tav/msg/TavLoggerOutput.h"
#include "tav/msg/zelgetmsg.h"
#include "tav/ui/cmd/Cmds.h"

#include <cstdlib>

namespace TAV {

namespace {

constexpr int MESSAGE_INSTEAD_USE = 272;
constexpr int MESSAGE_SINGLE_NODE = 275;

} // namespace

bool Cmds::isSIHA() {
    int type = static_cast<int>(node_type::cluster);
    if (const int result = clsugetconf(lpmprinit(), 0, &type); result != 0) {
        printStandardOutput("Error  looking up configuration type " + std::to_string(result) +
                            "\n");
        std::exit(EXIT_FAILURE);
    }
    if (type != static_cast<int>(node_type::single_node)) return false;
    std::string text;
    getErrMsg(text, MESSAGE_SINGLE_NODE);
    printStandardOutput(FACILITY + ("-" + std::to_string(MESSAGE_SINGLE_NODE)) + ": " + text +
                        "\n");
    return true;
}

void Cmds::showDeprecatedMessage(int messageNumber, const char* replacement) {
    char notice[TAV_MSGSIZE];
    lstprintf(notice, sizeof notice, messageText(messageNumber), replacement);
    printStandardOutput(notice + ("\n" + messageText(MESSAGE_INSTEAD_USE)) + "\n\n");
}

std::string Cmds::messageText(int number) const {
    char text[Messages::TEXT_SIZE] = {};
    m_logger->getStringnofmt(text, number);
    return text;
}

void Cmds::getErrMsg(std::string& out, int number) {
    char text[TAV_MSGSIZE] = {};
    zelgetmsg(FACILITY, number, text, sizeof text, nullptr, nullptr);
    out = text;
}

} // namespace TAV
