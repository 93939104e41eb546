#include "PinCommand.h"

#include "ArgumentChecks.h"
#include "CatalogueArguments.h"
#include "CatalogueRows.h"
#include "StandardOutput.h"
#include "actions/LocationLocks.h"
#include "catalogue/PinnedPaths.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"

CLI::App* PinCommand::define(CLI::App& parent) {
    CLI::App* command =
        m_pin ? parent.add_subcommand("pin",
                                      "Pins projects or autosaves: no rule, helper or archive removes them.")
              : parent.add_subcommand("unpin", "Takes the pins off projects or autosaves.");
    command
        ->add_option("PATH", m_paths,
                     "Projects (their folders) or single autosaves, inside the locations vestry list shows")
        ->required()
        ->check(ArgumentChecks::nonEmptyPath());
    return command;
}

int PinCommand::run() {
    const char* name = m_pin ? "pin" : "unpin";
    BMSettings& settings = BMSettings::standard();
    // Pins are read, changed and written back whole: two runs at once would each write the
    // list without the other's pin. So one at a time, each reading what the last one wrote.
    QString error;
    const std::optional<LocationLock> lock = LocationLock::acquire(
        settings.userFilePath(), LocationLocks::describeRun(QStringLiteral("changing the pins")),
        LocationLocks::wait(), &error);
    if (!lock) {
        CatalogueArguments::warn(name, error);
        CatalogueArguments::warn(name, QStringLiteral("nothing was changed"));
        return 1;
    }
    settings.synchronize();
    QStringList pins = PinnedPaths::fromSettings(settings).paths();
    CatalogueRows resolver(name);
    QStringList changed;
    QStringList notes;
    bool resolved = true;
    for (const std::string& argument : m_paths) {
        const QString typed = FileName::decode(QByteArray::fromStdString(argument));
        // A pin outlives its file: it is taken off by the path it has, or its real path, with
        // no scan.
        if (!m_pin) {
            const QString path = CatalogueRows::cleanPath(typed);
            const QStringList left = PinnedPaths::removing(pins, path);
            if (left.size() != pins.size()) {
                pins = left;
                changed << path;
                continue;
            }
        }
        const std::optional<SelectedRow> row = resolver.resolve(typed);
        if (!row) {
            resolved = false;
            continue;
        }
        const QString path = row->path();
        if (m_pin) {
            // A pin made through a link is the same pin as one made through the real path.
            const QString stored = PinnedPaths::storedForm(path);
            // Stored, such a pin would name another path, and the autosave would not be kept.
            if (FileName::hasInvalidBytes(stored)) {
                CatalogueArguments::warn(name, FileName::notStorableInSettings(path));
                resolved = false;
                continue;
            }
            if (!pins.contains(stored)) {
                pins = PinnedPaths::removing(pins, path);
                pins << stored;
            }
            changed << stored;
            continue;
        }
        pins = PinnedPaths::removing(pins, path);
        changed << path;
        const BMProjectPtr project = row->item ? row->item->parent() : nullptr;
        if (project && PinnedPaths(pins).isPinned(*project)) {
            notes << QStringLiteral("%1: stays pinned with its project %2")
                         .arg(FileName::displayText(path), FileName::displayText(project->path()));
        }
    }
    if (!resolved) {
        CatalogueArguments::warn(name, QStringLiteral("nothing was changed"));
        return 1;
    }
    if (!PinnedPaths::store(settings, pins) || !settings.synchronize()) {
        CatalogueArguments::warn(name, QStringLiteral("the settings could not be written to %1")
                                           .arg(FileName::displayText(settings.userFilePath())));
        return 1;
    }
    for (const QString& note : notes)
        CatalogueArguments::warn(name, note);
    QString out;
    for (const QString& path : changed)
        out += QStringLiteral("%1 %2\n").arg(m_pin ? QStringLiteral("Pinned") : QStringLiteral("Unpinned"),
                                             FileName::displayText(path));
    writeStandardOutput(out);
    return 0;
}
