// `vestry list` as a user meets it, byte for byte, on a tree of awkward names, every editor's
// layout and dates fixed by Samba's records; and the folders it cannot read on the way.
#include "CommandLineFixture.h"
#include "support/Gzip.h"
#include "support/MacMetadata.h"
#include "support/PremiereXml.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstring>
#include <sys/xattr.h>

namespace {

// One project a line; <DEL> stands for the byte 0x7f.
const char kJson[] =
    R"~({"projects":[{"endDate":"2012-01-05T09:08:07Z","items":[{"createdDate":"2012-01-05T09:07:07Z","name":"Loose-3.prproj","path":"@/Adobe Premiere Pro Auto-Save/Loose-3.prproj","size":1023,"type":2},{"createdDate":"2012-01-05T09:08:07Z","name":"Loose-4.prproj","path":"@/Adobe Premiere Pro Auto-Save/Loose-4.prproj","size":1048576,"type":2}],"name":"Loose","path":"@/Adobe Premiere Pro Auto-Save/Loose-3.prproj","size":1049599,"startDate":"2012-01-05T09:07:07Z","type":2},)~"
    R"~({"endDate":"2012-01-05T09:02:07Z","items":[{"createdDate":"2012-01-05T09:01:07Z","name":"Quote \"and\" back\\slash-1.prproj","path":"@/Adobe Premiere Pro Auto-Save/Quote \"and\" back\\slash/Quote \"and\" back\\slash-1.prproj","size":1536,"type":2},{"createdDate":"2012-01-05T09:02:07Z","name":"Quote \"and\" back\\slash-2.prproj","path":"@/Adobe Premiere Pro Auto-Save/Quote \"and\" back\\slash/Quote \"and\" back\\slash-2.prproj","size":1000000,"type":2}],"name":"Quote \"and\" back\\slash","path":"@/Adobe Premiere Pro Auto-Save/Quote \"and\" back\\slash","size":1001536,"startDate":"2012-01-05T09:01:07Z","type":2},)~"
    R"~({"endDate":"2012-01-05T09:04:07Z","items":[{"createdDate":"2012-01-05T09:04:07Z","name":"Bad\udcff\udcfe-1.prproj","path":"@/Adobe Premiere Pro Auto-Save/Tab\there\u0001<DEL>/Bad\udcff\udcfe-1.prproj","size":0,"type":2}],"name":"Tab\there\u0001<DEL>","path":"@/Adobe Premiere Pro Auto-Save/Tab\there\u0001<DEL>","size":0,"startDate":"2012-01-05T09:04:07Z","type":2},)~"
    R"~({"endDate":"2012-01-05T09:09:07Z","items":[{"createdDate":"2012-01-05T09:09:07Z","name":"Untitled.prproj","path":"@/Adobe Premiere Pro Auto-Save/Untitled.prproj","size":123456789,"type":2}],"name":"Untitled","path":"@/Adobe Premiere Pro Auto-Save/Untitled.prproj","size":123456789,"startDate":"2012-01-05T09:09:07Z","type":2},)~"
    R"~({"endDate":"2012-01-05T09:03:07Z","items":[{"createdDate":"2012-01-05T09:03:07Z","name":"Cut-1.prproj","path":"@/Adobe Premiere Pro Auto-Save/Ünï cødé 名 🎬/Cut-1.prproj","size":5000000000,"type":2}],"name":"Ünï cødé 名 🎬","path":"@/Adobe Premiere Pro Auto-Save/Ünï cødé 名 🎬","size":5000000000,"startDate":"2012-01-05T09:03:07Z","type":2},)~"
    R"~({"endDate":"2012-01-05T09:12:07Z","items":[{"createdDate":"2012-01-05T09:12:07Z","name":"Reel 1.2.avb","path":"@/Avid Attic/jo/Bins/Reel 1/Reel 1.2.avb","size":3000,"type":3},{"createdDate":"2012-01-05T09:11:07Z","name":"Reel 1.avb","path":"@/Avid Attic/jo/Bins/Reel 1/Reel 1.avb","size":2048,"type":3}],"name":"jo","path":"@/Avid Attic/jo","size":5048,"startDate":"2012-01-05T09:11:07Z","type":3},)~"
    R"~({"endDate":"2012-01-05T09:15:07Z","items":[{"createdDate":"2012-01-05T09:14:07Z","name":"Cut_01-02-12_1030","path":"@/Autosave Vault/Cut/Cut_01-02-12_1030","size":77,"type":0},{"createdDate":"2012-01-05T09:15:07Z","name":"Motion_2012-01-02_1030.motn","path":"@/Autosave Vault/Cut/Motion_2012-01-02_1030.motn","size":88,"type":1}],"name":"Cut","path":"@/Autosave Vault/Cut","size":165,"startDate":"2012-01-05T09:14:07Z","type":1},)~"
    R"~({"endDate":"2012-01-05T09:17:07Z","items":[{"createdDate":"2012-01-05T09:17:07Z","name":"Day 1.fcpevent","path":"@/Lib.fcpbundle/Day/Backups/Day 1.fcpevent","size":5,"type":4}],"name":"Day","path":"@/Lib.fcpbundle/Day/CurrentVersion.fcpevent","size":5,"startDate":"2012-01-05T09:17:07Z","type":4}]}
)~";

const char kText[] = R"~(Loose                                   1 MB  01/05/2012 09:07:07 - 9:08:07 AM
  Loose-3.prproj                     1,023 B  Jan 5, 2012 9:07:07 AM
  Loose-4.prproj                        1 MB  Jan 5, 2012 9:08:07 AM
Quote "and" back\slash             978.06 KB  01/05/2012 09:01:07 - 9:02:07 AM
  Quote "and" back\slash-1.prproj     1.5 KB  Jan 5, 2012 9:01:07 AM
  Quote "and" back\slash-2.prproj  976.56 KB  Jan 5, 2012 9:02:07 AM
Tab\there\x01\x7f                        0 B  Jan 5, 2012 9:04:07 AM
  Bad\xff\xfe-1.prproj                   0 B  Jan 5, 2012 9:04:07 AM
Untitled                           117.74 MB  Jan 5, 2012 9:09:07 AM
  Untitled.prproj                  117.74 MB  Jan 5, 2012 9:09:07 AM
Ünï cødé 名 🎬                        4.66 GB  Jan 5, 2012 9:03:07 AM
  Cut-1.prproj                       4.66 GB  Jan 5, 2012 9:03:07 AM
jo                                   4.93 KB  01/05/2012 09:11:07 - 9:12:07 AM
  Reel 1.2.avb                       2.93 KB  Jan 5, 2012 9:12:07 AM
  Reel 1.avb                            2 KB  Jan 5, 2012 9:11:07 AM
Cut                                    165 B  01/05/2012 09:14:07 - 9:15:07 AM
  Cut_01-02-12_1030                     77 B  Jan 5, 2012 9:14:07 AM
  Motion_2012-01-02_1030.motn           88 B  Jan 5, 2012 9:15:07 AM
Day                                      5 B  Jan 5, 2012 9:17:07 AM
  Day 1.fcpevent                         5 B  Jan 5, 2012 9:17:07 AM
Total: 8 projects, 12 autosaves, 5,125,513,142 bytes (4.77 GB)
)~";

class ListOutput : public CommandLine {
protected:
    void SetUp() override {
        CommandLine::SetUp();
        root = QFile::encodeName(home().root()) + "/t";
    }

    // A sparse file of the size, created `minute` minutes into a fixed morning: the date is
    // Samba's record, which counts because the file was modified before it was born here.
    bool file(const QByteArray& relative, off_t size, int minute) {
        const QByteArray path = root + "/" + relative;
        QDir().mkpath(QFile::decodeName(path.left(path.lastIndexOf('/'))));
        const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        const bool made = fd >= 0 && ::ftruncate(fd, size) == 0;
        if (fd >= 0)
            ::close(fd);
        const QDateTime created(QDate(2012, 1, 5), QTime(9, minute, 7), Qt::UTC);
        const QByteArray record = dosAttribRecord(4, created);
        const struct timespec before[2] = {{created.toSecsSinceEpoch() - 86400, 0},
                                           {created.toSecsSinceEpoch() - 86400, 0}};
        return made &&
               ::setxattr(path.constData(), "user.DOSATTRIB", record.constData(), size_t(record.size()), 0) ==
                   0 &&
               ::utimensat(AT_FDCWD, path.constData(), before, 0) == 0;
    }

    QByteArray list(const QStringList& options, const QStringList& locations, QByteArray* err = nullptr,
                    bool asNobody = false) {
        QStringList arguments = QStringList{"list"} + options;
        for (const QString& location : locations)
            arguments << QFile::decodeName(root) + "/" + location;
        const Outcome result = asNobody ? runAsNobody(arguments, environment()) : run(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
        if (err)
            *err = result.err.toUtf8().replace(root, "@");
        return result.out.toUtf8().replace(root, "@");
    }

    QByteArray root;
};

} // namespace

TEST_F(ListOutput, JsonAndTextKeepTheirBytes) {
    const QByteArray premiere = "Adobe Premiere Pro Auto-Save/";
    const QByteArray quoted = premiere + "Quote \"and\" back\\slash/Quote \"and\" back\\slash";
    const QByteArray odd = premiere + "Tab\there\x01\x7f/";
    const QByteArray info = finderInfoOfType("FCPF");
    const QByteArray vaultCopy = root + "/Autosave Vault/Cut/Cut_01-02-12_1030";
    const bool made =
        file(quoted + "-1.prproj", 1536, 1) && file(quoted + "-2.prproj", 1000000, 2) &&
        file(premiere + "Ünï cødé 名 🎬/Cut-1.prproj", 5000000000LL, 3) &&
        file(odd + "Bad\xff\xfe-1.prproj", 0, 4) && file(odd + "notes.txt", 10, 5) &&
        file(premiere + "Other/readme.txt", 10, 6) && file(premiere + "Loose-3.prproj", 1023, 7) &&
        file(premiere + "Loose-4.prproj", 1048576, 8) && file(premiere + "Untitled.prproj", 123456789, 9) &&
        file(premiere + "._Loose-5.prproj", 4096, 10) &&
        file("Avid Attic/jo/Bins/Reel 1/Reel 1.avb", 2048, 11) &&
        file("Avid Attic/jo/Bins/Reel 1/Reel 1.2.avb", 3000, 12) &&
        file("Avid Attic/jo/Bins/Reel 2/.hidden.avb", 3000, 13) &&
        file("Autosave Vault/Cut/Cut_01-02-12_1030", 77, 14) &&
        file("Autosave Vault/Cut/Motion_2012-01-02_1030.motn", 88, 15) &&
        file("Autosave Vault/Cut/Motion.motn", 99, 16) &&
        file("Lib.fcpbundle/Day/Backups/Day 1.fcpevent", 5, 17) &&
        ::setxattr(vaultCopy.constData(), "user.com.apple.FinderInfo", info.constData(), size_t(info.size()),
                   0) == 0;
    if (!made)
        GTEST_SKIP() << "this file system refuses user extended attributes";
    QDir().mkpath(QFile::decodeName(root + "/Avid Attic/empty/Bins"));
    QDir().mkpath(QFile::decodeName(root + "/" + premiere + "Empty"));
    const QStringList locations{"Adobe Premiere Pro Auto-Save", "Avid Attic", "Autosave Vault",
                                "Lib.fcpbundle"};

    const QByteArray json = QByteArray(kJson).replace("<DEL>", "\x7f");
    EXPECT_EQ(list({"--json"}, locations), json);
    EXPECT_EQ(list({}, locations), QByteArray(kText));
    // Sorted, the same projects in another order: the same bytes, counted.
    const QByteArray sorted = list({"--json", "--sort", "size", "--descending"}, locations);
    EXPECT_EQ(sorted.size(), json.size());
    const QJsonArray projects = QJsonDocument::fromJson(sorted).object()["projects"].toArray();
    ASSERT_EQ(projects.size(), 8);
    EXPECT_EQ(projects.first()["size"].toDouble(), 5000000000.0);
    EXPECT_EQ(projects.last()["size"].toDouble(), 0.0);
}

// Root reads everything: this list runs as nobody.
TEST_F(ListOutput, FoldersThatCannotBeReadOnTheWayAreNamedAndTheRestListed) {
    const bool made = file("Adobe Premiere Pro Auto-Save/A/A-1.prproj", 1, 1) &&
                      file("Adobe Premiere Pro Auto-Save/Shut/Shut-1.prproj", 1, 2) &&
                      file("Adobe Premiere Pro Auto-Save/notes.txt", 1, 3) &&
                      file("Avid Attic/jo/Bins/Open/Open.avb", 1, 4) &&
                      file("Avid Attic/jo/Bins/Shut/Shut.avb", 1, 5) && file("Avid Attic/lee/Bins", 1, 6);
    if (!made)
        GTEST_SKIP() << "this file system refuses user extended attributes";
    QDir().mkpath(QFile::decodeName(root + "/Avid Attic/kim"));
    if (!openToNobody())
        GTEST_SKIP() << "needs root to run vestry as nobody";
    for (const char* shut : {"/Adobe Premiere Pro Auto-Save/Shut", "/Avid Attic/jo/Bins/Shut"})
        ::chmod(root + shut, 0700);

    QByteArray err;
    const QByteArray out = list({"--json"}, {"Adobe Premiere Pro Auto-Save", "Avid Attic"}, &err, true);
    EXPECT_EQ(
        err,
        "vestry list: @/Adobe Premiere Pro Auto-Save/Shut: the folder could not be read (Permission denied)\n"
        "vestry list: @/Avid Attic/jo/Bins/Shut: the folder could not be read (Permission denied)\n");
    QStringList listed;
    for (const QJsonValue project : QJsonDocument::fromJson(out).object()["projects"].toArray())
        for (const QJsonValue item : project["items"].toArray())
            listed << item["path"].toString();
    EXPECT_EQ(listed, (QStringList{"@/Adobe Premiere Pro Auto-Save/A/A-1.prproj",
                                   "@/Avid Attic/jo/Bins/Open/Open.avb"}));
}

// --summary, on several editors and two locations of one editor.
TEST_F(CommandLine, ListSummaryTotalsByEditorAndLocationLargestFirst) {
    const QString root = home().root();
    for (const auto& [file, size] : {std::pair{"/A/Adobe Premiere Pro Auto-Save/Cut/Cut-1.prproj", 3000},
                                     {"/A/Adobe Premiere Pro Auto-Save/Cut/Cut-2.prproj", 1000},
                                     {"/B/Adobe Premiere Pro Auto-Save/Other/Other-1.prproj", 1000},
                                     {"/Avid Attic/jo/Bins/Reel 1/Reel 1.avb", 2500},
                                     {"/Lib.fcpbundle/Day/Backups/Day 1.fcpevent", 500}})
        home().writeFile(root + file, QByteArray(size, 'x'));
    const auto summary = [&](const QStringList& options) {
        QStringList arguments = QStringList{"list", "--summary"} + options;
        for (const char* location : {"/Lib.fcpbundle", "/B/Adobe Premiere Pro Auto-Save", "/Avid Attic",
                                     "/A/Adobe Premiere Pro Auto-Save"})
            arguments << root + location;
        const Outcome result = run(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
        return QString(result.out).replace(root, "@").toStdString();
    };
    // The location column is as wide as the longest real path, which "@" stands for here.
    const QString location =
        QString("Location").leftJustified(root.size() + qsizetype(strlen("/A/Adobe Premiere Pro Auto-Save")));
    EXPECT_EQ(summary({}), ("Editor              Size  Share  Projects  Autosaves\n"
                            "Premiere Pro     4.88 KB  62.5%         2          3\n"
                            "Media Composer   2.44 KB  31.3%         1          1\n"
                            "Final Cut Pro X    500 B   6.3%         1          1\n"
                            "\n" +
                            location +
                            "     Size  Share  Projects  Autosaves\n"
                            "@/A/Adobe Premiere Pro Auto-Save  3.91 KB  50.0%         1          2\n"
                            "@/Avid Attic                      2.44 KB  31.3%         1          1\n"
                            "@/B/Adobe Premiere Pro Auto-Save  1,000 B  12.5%         1          1\n"
                            "@/Lib.fcpbundle                     500 B   6.3%         1          1\n"
                            "\n"
                            "Total: 4 projects, 5 autosaves, 7.81 KB\n")
                               .toStdString());
    EXPECT_EQ(
        summary({"--json"}),
        "{\"editors\":[{\"autosaves\":3,\"bytes\":5000,\"editor\":\"Premiere Pro\",\"percent\":62.5,"
        "\"projects\":2},{\"autosaves\":1,\"bytes\":2500,\"editor\":\"Media Composer\",\"percent\":31.3,"
        "\"projects\":1},{\"autosaves\":1,\"bytes\":500,\"editor\":\"Final Cut Pro X\",\"percent\":6.3,"
        "\"projects\":1}],\"locations\":[{\"autosaves\":2,\"bytes\":4000,\"location\":\"@/A/Adobe Premiere "
        "Pro Auto-Save\",\"percent\":50,\"projects\":1},{\"autosaves\":1,\"bytes\":2500,\"location\":"
        "\"@/Avid Attic\",\"percent\":31.3,\"projects\":1},{\"autosaves\":1,\"bytes\":1000,\"location\":"
        "\"@/B/Adobe Premiere Pro Auto-Save\",\"percent\":12.5,\"projects\":1},{\"autosaves\":1,\"bytes\":"
        "500,\"location\":\"@/Lib.fcpbundle\",\"percent\":6.3,\"projects\":1}],\"offline\":[],\"total\":"
        "{\"autosaves\":5,\"bytes\":8000,\"projects\":4}}\n");
    // --sort orders projects, which the summary has none of.
    EXPECT_NE(run({"list", "--summary", "--sort", "size", root}).exitCode, 0);
}

// --orphans, on real gzip-compressed Premiere autosaves.
TEST_F(CommandLine, ListOrphansListsOnlyOrphansAndMarksThemInJson) {
    const QString location = home().root() + "/Edits/Adobe Premiere Pro Auto-Save";
    home().writeFile(home().root() + "/Edits/Live.prproj", "live");
    const auto recording = [](const QString& project) { return gzipCompressed(premiereProjectXml(project)); };
    home().writeFile(location + "/Live/Live-1.prproj", recording(home().root() + "/Edits/Live.prproj"));
    home().writeFile(location + "/Gone/Gone-1.prproj", recording("/Volumes/Gone/Gone.prproj"));
    const auto list = [&](const QStringList& options) {
        const Outcome result = run(QStringList{"list"} + options + QStringList{location});
        EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
        return result.out;
    };
    const QString json = list({"--json", "--orphans"});
    EXPECT_TRUE(json.contains("\"name\":\"Gone\",\"orphan\":true,\"path\":")) << json.toStdString();
    EXPECT_FALSE(json.contains("Live")) << json.toStdString();
    const QString text = list({"--orphans", "--sort", "name"});
    EXPECT_TRUE(text.startsWith("Gone ")) << text.toStdString();
    EXPECT_TRUE(text.contains("Total: 1 project, 1 autosave")) << text.toStdString();
    // Without the option every project, and no key that only the option adds.
    const QString all = list({"--json"});
    EXPECT_TRUE(all.contains("\"name\":\"Live\"") && all.contains("\"name\":\"Gone\"")) << all.toStdString();
    EXPECT_FALSE(all.contains("orphan")) << all.toStdString();
}
