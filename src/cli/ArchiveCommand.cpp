#include "ArchiveCommand.h"

#include "ArgumentChecks.h"
#include "CatalogueArguments.h"
#include "CatalogueRows.h"
#include "Interruption.h"
#include "StandardOutput.h"
#include "TerminalProgress.h"
#include "actions/ActionTexts.h"
#include "actions/ArchiveManifest.h"
#include "actions/AutosaveArchiver.h"
#include "catalogue/AutosaveFolderScanner.h"
#include "catalogue/AutosaveType.h"
#include "catalogue/OutlineText.h"
#include "foundation/BMFileManager.h"
#include "foundation/FileName.h"
#include "foundation/FileTree.h"
#include "foundation/PathText.h"

#include <QDir>
#include <QMap>

#include <optional>

namespace {

constexpr char kCommand[] = "archive";

// The destination's problem, or null when an archive can be written there.
QString destinationProblem(const QString& destination) {
    if (PathText::extension(destination).compare(QLatin1String("zip"), Qt::CaseInsensitive) != 0)
        return QStringLiteral("the archive's name must end in \".zip\"");
    if (FileTree::exists(destination))
        return QStringLiteral("already exists; choose another name or move it away first");
    const QString folder = PathText::deletingLastComponent(destination);
    if (!BMFileManager::isDirectoryAtPath(folder))
        return QStringLiteral("no such folder: %1").arg(folder);
    return QString();
}

} // namespace

CLI::App* ArchiveCommand::define(CLI::App& parent) {
    CLI::App* command = parent.add_subcommand(
        "archive",
        "Packs projects or autosaves into a zip archive, one folder per folder that held them, then "
        "moves them to the Trash.");
    CLI::Option* to =
        command->add_option("--to", m_destination, "The archive to write; it must not exist yet")
            ->type_name("FILE.zip")
            ->check(ArgumentChecks::nonEmptyPath());
    CLI::Option* paths =
        command
            ->add_option(
                "PATH", m_paths,
                "Projects (their folders) or single autosaves, inside the locations vestry list shows")
            ->check(ArgumentChecks::nonEmptyPath());
    CLI::Option* verify = command
                              ->add_option("--verify", m_verify,
                                           "Checks an archive against its manifest instead of writing one")
                              ->type_name("FILE.zip")
                              ->check(ArgumentChecks::nonEmptyPath())
                              ->excludes(to)
                              ->excludes(paths);
    // Writing needs both; checking needs neither.
    command->callback([to, paths, verify] {
        if (verify->count() > 0)
            return;
        for (const CLI::Option* option : {to, paths}) {
            if (option->count() == 0)
                throw CLI::RequiredError(option->get_name());
        }
    });
    return command;
}

int ArchiveCommand::verify() const {
    const QString archive = CatalogueArguments::absolutePath(m_verify);
    const ArchiveManifest::Verification verification = ArchiveManifest::verify(archive);
    if (!verification.error.isEmpty()) {
        CatalogueArguments::warn(kCommand, verification.error);
        return 1;
    }
    for (const QString& difference : verification.differences)
        CatalogueArguments::warn(kCommand, difference);
    if (!verification.ok()) {
        CatalogueArguments::warn(kCommand, QStringLiteral("%1 does not match its manifest (%2 of %3 files)")
                                               .arg(archive)
                                               .arg(verification.differences.size())
                                               .arg(verification.files));
        return 1;
    }
    writeStandardOutput(QStringLiteral("%1 matches its manifest: %2 %3, each with its size and SHA-256\n")
                            .arg(archive)
                            .arg(verification.files)
                            .arg(verification.files == 1 ? QStringLiteral("file") : QStringLiteral("files")));
    return 0;
}

int ArchiveCommand::run() {
    if (!m_verify.empty())
        return verify();
    const QString destination = CatalogueArguments::absolutePath(m_destination);
    if (const QString problem = destinationProblem(destination); !problem.isEmpty()) {
        CatalogueArguments::warn(kCommand, QStringLiteral("%1: %2").arg(destination, problem));
        return 1;
    }
    CatalogueRows resolver(kCommand);
    SelectedRows rows;
    bool resolved = true;
    for (const std::string& argument : m_paths) {
        if (std::optional<SelectedRow> row =
                resolver.resolve(FileName::decode(QByteArray::fromStdString(argument))))
            rows << *row;
        else
            resolved = false;
    }
    if (!resolved)
        return 1;

    TerminalProgress progress;
    const Interruption interruption;
    // The destination was free when checked above; whatever is there by the time the archive
    // is written belongs to somebody else.
    const AutosaveArchiver::Result result =
        AutosaveArchiver::archiveSelectionToFile(rows, destination, progress.callback(), interruption.flag(),
                                                 PinnedPaths::stored(), AutosaveArchiver::Existing::Refuse);
    progress.clear();
    if (result.cancelled) {
        CatalogueArguments::warn(kCommand, ActionTexts::cancelledArchive());
        return interruption.exitStatus();
    }
    if (result.error.isError()) {
        CatalogueArguments::warn(kCommand,
                                 QStringLiteral("%1 %2").arg(result.error.message, result.error.informative));
        return 1;
    }
    if (!result.archived) {
        CatalogueArguments::warn(kCommand,
                                 QStringLiteral("the archive could not be made; the log has the details"));
        return 1;
    }
    for (const QString& path : result.removal.failed) {
        const QString reason = result.removal.reasons.value(path);
        CatalogueArguments::warn(
            kCommand, reason.isEmpty()
                          ? QStringLiteral("%1: archived, but could not be moved to the Trash")
                                .arg(FileName::displayText(path))
                          : QStringLiteral("%1; it is in the archive and stays where it was").arg(reason));
    }
    if (result.removal.cancelled) {
        CatalogueArguments::warn(
            kCommand, QStringLiteral("%1 is complete. %2")
                          .arg(destination,
                               ActionTexts::cancelled(QStringLiteral("moved to the Trash"),
                                                      result.removal.removed.size(), result.removal.total)));
        return interruption.exitStatus();
    }
    const qsizetype pinned = result.pinned.size();
    const qsizetype toMove = result.autosaves - pinned;
    const qsizetype removed = result.removal.removed.size();
    // What reached the Trash, not what was meant to: a script reads this line.
    QString moved = removed < toMove ? QStringLiteral("%1 of %2").arg(removed).arg(toMove)
                    : pinned == 0    ? (result.autosaves == 1 ? QStringLiteral("it") : QStringLiteral("them"))
                                     : QString::number(removed);
    if (pinned > 0)
        moved += QStringLiteral(" (%1 pinned stayed)").arg(pinned);
    writeStandardOutput(
        QStringLiteral("Archived %1 %2 to %3 (%4); moved %5 to the Trash\n")
            .arg(result.autosaves)
            .arg(result.autosaves == 1 ? QStringLiteral("autosave") : QStringLiteral("autosaves"),
                 destination, OutlineText().formatFileSize(double(BMFileManager::fileSize(destination))),
                 moved));
    return result.removal.ok() ? 0 : 1;
}
