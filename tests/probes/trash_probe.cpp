// Moves the item named by the first argument into the Trash named by the second through the
// native platform, and prints where it went ("trashed: PATH") or why not ("error: CAUSE").
// The Trash tests run it as another user and under a time-out.
#include "foundation/FileName.h"
#include "foundation/platform/Platform.h"

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: trash_probe ITEM TRASH\n");
        return 2;
    }
    QString error;
    const std::optional<QString> inTrash =
        Platform::current().moveToTrash(FileName::decode(argv[1]), FileName::decode(argv[2]), &error);
    if (!inTrash) {
        std::printf("error: %s\n", error.toUtf8().constData());
        return 1;
    }
    std::printf("trashed: %s\n", FileName::encode(*inTrash).constData());
    return 0;
}
