#include "platform/include/process.h"
#include "tools/vornreg/CommandLine.h"

int main(int argc, char** argv) {
    scls_reserve_standard_streams();
    scls_ignore_broken_pipes();
    return vornreg::runCommandLine(argc, argv);
}
