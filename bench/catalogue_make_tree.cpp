// Writes a synthetic autosave tree for the catalogue scan benchmark:
//   ROOT/Adobe Premiere Pro Auto-Save/<project>/<project>-<n>.prproj   (half of the projects)
//   ROOT/Avid Attic/<project>/Bins/<bin>/<bin>.<n>.avb                  (the other half)
// Files are sparse, with sizes spread between 20 KB and 2 MB, so the tree costs inodes but
// hardly any disk. LAYOUT "premiere" makes every project a Premiere one; "avid-vault" makes
// half Avid and half Final Cut vault projects:
//   ROOT/Autosave Vault/<project>/<project>_01-05-12_<nnnn>   (typed FCPF in its attributes)
// Usage: catalogue_make_tree ROOT [PROJECTS [AUTOSAVES [mixed|premiere|avid-vault]]]
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

void makeFolder(const std::string& path) {
    if (::mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) {
        std::fprintf(stderr, "cannot create %s: %s\n", path.c_str(), std::strerror(errno));
        std::exit(1);
    }
}

void makeFile(const std::string& path, off_t size, bool finalCutType = false) {
    static const char finderInfo[32] = {'F', 'C', 'P', 'F', 'K', 'e', 'y', 'G'};
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0 || ::ftruncate(fd, size) != 0 ||
        (finalCutType &&
         ::fsetxattr(fd, "user.com.apple.FinderInfo", finderInfo, sizeof finderInfo, 0) != 0)) {
        std::fprintf(stderr, "cannot write %s: %s\n", path.c_str(), std::strerror(errno));
        std::exit(1);
    }
    ::close(fd);
}

off_t sizeFor(int project, int autosave) {
    return off_t(20000 + (project * 7919 + autosave * 104729) % 2000000);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s ROOT [PROJECTS [AUTOSAVES [mixed|premiere|avid-vault]]]\n", argv[0]);
        return 2;
    }
    const std::string root = argv[1];
    const int projects = argc > 2 ? std::atoi(argv[2]) : 1000;
    const int autosaves = argc > 3 ? std::atoi(argv[3]) : 100;
    const std::string layout = argc > 4 ? argv[4] : "mixed";
    if (layout != "mixed" && layout != "premiere" && layout != "avid-vault") {
        std::fprintf(stderr, "unknown layout %s\n", layout.c_str());
        return 2;
    }
    const int binsPerProject = 4;
    const std::string premiere = root + "/Adobe Premiere Pro Auto-Save";
    const std::string attic = root + "/Avid Attic";
    const std::string vault = root + "/Autosave Vault";
    makeFolder(root);
    if (layout != "avid-vault")
        makeFolder(premiere);
    if (layout != "premiere")
        makeFolder(attic);
    if (layout == "avid-vault")
        makeFolder(vault);

    char name[256];
    long files = 0;
    for (int p = 0; p < projects; ++p) {
        if (p % 2 == 0 && layout == "avid-vault") {
            std::snprintf(name, sizeof name, "Wedding Cut %04d", p);
            const std::string folder = vault + "/" + name;
            makeFolder(folder);
            for (int a = 1; a <= autosaves; ++a) {
                char file[320];
                std::snprintf(file, sizeof file, "%s/%s_01-05-12_%04d", folder.c_str(), name, a % 10000);
                makeFile(file, sizeFor(p, a), true);
                ++files;
            }
        } else if (p % 2 == 0 || layout == "premiere") {
            std::snprintf(name, sizeof name, "Documentary Episode %04d", p);
            const std::string folder = premiere + "/" + name;
            makeFolder(folder);
            for (int a = 1; a <= autosaves; ++a) {
                char file[320];
                std::snprintf(file, sizeof file, "%s/%s-%d.prproj", folder.c_str(), name, a);
                makeFile(file, sizeFor(p, a));
                ++files;
            }
        } else {
            std::snprintf(name, sizeof name, "Feature Project %04d", p);
            const std::string bins = attic + "/" + name + "/Bins";
            makeFolder(attic + "/" + name);
            makeFolder(bins);
            for (int b = 0; b < binsPerProject; ++b) {
                char bin[64];
                std::snprintf(bin, sizeof bin, "Reel %02d Selects", b + 1);
                const std::string binFolder = bins + "/" + bin;
                makeFolder(binFolder);
                for (int a = b; a < autosaves; a += binsPerProject) {
                    char file[400];
                    std::snprintf(file, sizeof file, "%s/%s.%03d.avb", binFolder.c_str(), bin, a + 1);
                    makeFile(file, sizeFor(p, a));
                    ++files;
                }
            }
        }
    }
    std::printf("%ld autosaves in %d projects under %s\n", files, projects, root.c_str());
    return 0;
}
