#pragma once

#include "catalogue/AutosaveFolderScanner.h"
#include "catalogue/BMProject.h"

#include <QString>

#include <string>
#include <vector>

// What the subcommands share about the locations and paths a user names on the command line.
namespace CatalogueArguments {

// A path as typed, made absolute from the working folder; a trailing slash stays, because
// the location rules read the path as text.
QString absolutePath(const QString& path);
QString absolutePath(const std::string& argument);

// Scans one location the user named. False, after saying why on standard error with the
// command's name ("vestry list: PATH: no such folder"), when it could not be scanned.
bool scanNamedFolder(const char* command, const AutosaveFolderScanner& scanner, const QString& path,
                     BMProjectList& projects);
bool scanNamedFolder(const char* command, const AutosaveFolderScanner& scanner, const QString& path,
                     const AutosaveFolderScanner::ProjectSink& sink);

// The catalogue of the named locations, or of every location Vestry knows when none is
// named. ok turns false when a named one could not be scanned.
BMProjectList catalogue(const char* command, const std::vector<std::string>& paths, bool* ok);
// The same handed over project by project, in the same order, so that a caller that prints
// as it goes never holds the whole catalogue.
void catalogue(const char* command, const std::vector<std::string>& paths, bool* ok,
               const AutosaveFolderScanner::ProjectSink& sink);

// Standard error, prefixed with the command's name.
void warn(const char* command, const QString& text);

} // namespace CatalogueArguments
