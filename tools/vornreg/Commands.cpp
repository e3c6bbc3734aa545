#include "tools/vornreg/Groups.h"

#include <array>
#include <limits>

namespace vornreg {

namespace {

constexpr std::size_t ANY = std::numeric_limits<std::size_t>::max();

constexpr std::array COMMANDS = {
    Command{
        "init", "[-v]", "make the registries of this node",
        "Makes what is missing of node.conf's cluster and local registry, of the keys that the\n"
        "daemons expect, and of the resource roots. The folders above the registries must be\n"
        "there. It may be repeated.\n"
        "  -v, --verbose   say what was made\n",
        "v", 0, 0, initialise},
    Command{
        "register", "[--replace] FILE...", "register resources from profiles",
        "Each FILE is the profile of one resource, \"-\" is standard input. All files are checked\n"
        "first; nothing is registered when one of them is bad. Each resource appears in one\n"
        "step, with its permissions. AUTO_START=restore is added when it is missing.\n"
        "  --replace       a resource that is registered already is replaced as a whole\n",
        "r", 1, ANY, registerResources},
    Command{"unregister", "NAME...", "unregister resources",
            "Removes resources and their permissions. What goes wrong with one name is told, and\n"
            "the others are removed.\n",
            "", 1, ANY, unregisterResources},
    Command{"list", "[-l]", "list the registered resources",
            "Prints the names of the registered resources.\n"
            "  -l, --long      their types, targets and states too\n",
            "l", 0, 0, listResources},
    Command{"show", "NAME", "print a resource as a profile",
            "Prints what register would take to register the resource as it is.\n", "", 1, 1,
            showResource},
    Command{
        "state", "NAME STATE [--node NODE]", "set a resource's state",
        "STATE is ONLINE, OFFLINE or UNKNOWN. Without a node it is set for the whole resource.\n"
        "  --node NODE     set it for that node of node.conf\n",
        "n", 2, 2, setState},
    Command{"target", "NAME TARGET [--node NODE]", "set a resource's target",
            "TARGET is ONLINE or OFFLINE. Without a node it is set for the whole resource.\n"
            "  --node NODE     set it for that node of node.conf\n",
            "n", 2, 2, setTarget},
    Command{"set", "NAME ATTRIBUTE VALUE", "set an attribute",
            "ATTRIBUTE is any but NAME, STATE, TARGET and ACL; CURRENT_FAILURE may have a node:\n"
            "CURRENT_FAILURE@alpha.\n",
            "", 3, 3, setAttribute},
    Command{"acl", "NAME [TEXT]", "show or set a resource's permissions",
            "TEXT is an access-control list, as owner:root:rwx,pgrp:root:r-x,other::r--; an empty\n"
            "one removes the list, and administrators alone may read the resource then.\n",
            "", 1, 2, accessControlList},
    Command{"level", "MODULE [NUMBER]", "show or set the log level of a vornd module",
            "Levels are 0 to 5. vornd of this node follows it while it runs.\n", "", 1, 2,
            debugLevel},
    Command{"key get", "KEY", "print the value of a key",
            "Prints the value of any key of the cluster registry, as it is.\n", "", 1, 1, getKey},
    Command{"key set", "KEY VALUE", "set a key, make it if needed",
            "Sets the value of any key of the cluster registry as text, and makes what is missing\n"
            "of the keys above it.\n",
            "", 2, 2, setKey},
    Command{"key list", "[-l] KEY", "list the sub-keys of a key",
            "Prints the names of the sub-keys of any key; \"\" is the root.\n"
            "  -l, --long      their values too\n",
            "l", 1, 1, listKey},
    Command{"key delete", "[--tree] KEY", "delete a key",
            "Deletes any key of the cluster registry.\n"
            "  --tree          its sub-keys too\n",
            "t", 1, 1, deleteKey},
};

} // namespace

std::span<const Command> commands() {
    return COMMANDS;
}

} // namespace vornreg
