#include "tav/ui/cmd/entry.h"

int main(int argc, char** argv) {
    tavcmd_main(argc, argv);
}
