// Opens a sidecar store the way another copy of the application does, for the tests that need
// several processes on one file. It waits until its standard input is closed, so that a test can
// start several and release them at the same instant; then it opens PATH, saves one block into
// the document DOC and exits 0, or prints the store's words and exits 1.
#include "core/SqliteSidecarStore.h"

#include <cstdio>
#include <unistd.h>

int main(int argc, char** argv) {
    using namespace mnemora::core;
    if (argc != 3) {
        std::fprintf(stderr, "usage: sidecar_opener PATH DOC\n");
        return 2;
    }
    char byte = 0;
    while (read(STDIN_FILENO, &byte, 1) > 0) {
    }
    try {
        SqliteSidecarStore store(argv[1]);
        store.saveBlocks(
            argv[2],
            {Block{.id = BlockID(argv[2]), .text = argv[2], .position = FractionalIndex("i")}});
        return 0;
    } catch (const SyncedDocSidecarStore::Error& error) {
        std::printf("%s", error.what());
        return 1;
    }
}
