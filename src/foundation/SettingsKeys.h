#pragma once

// The names of every persistent setting. The helper program reads the same file, so
// these names are part of the file format.
namespace SettingsKey {
inline constexpr char manualPaths[] = "manualPaths";
inline constexpr char autosavePaths[] = "autosavePaths";
inline constexpr char showLocationColumn[] = "showLocationColumn";
inline constexpr char autoRemove[] = "autoRemove";
inline constexpr char autoRemoveUseCriteria[] = "autoRemoveUseCriteria";
inline constexpr char autoRemoveUseCriteriaAge[] = "autoRemoveUseCriteriaAge";
inline constexpr char autoRemoveCriteriaAge[] = "autoRemoveCriteriaAge";
inline constexpr char autoRemoveUseCriteriaSize[] = "autoRemoveUseCriteriaSize";
inline constexpr char autoRemoveCriteriaSize[] = "autoRemoveCriteriaSize";
inline constexpr char autoRemoveUseCriteriaTotalCount[] = "autoRemoveUseCriteriaTotalCount";
inline constexpr char autoRemoveCriteriaTotalCount[] = "autoRemoveCriteriaTotalCount";
inline constexpr char autoRemoveUseCriteriaTotalSize[] = "autoRemoveUseCriteriaTotalSize";
inline constexpr char autoRemoveCriteriaTotalSize[] = "autoRemoveCriteriaTotalSize";
inline constexpr char autoClean[] = "autoClean";
inline constexpr char autoCleanAction[] = "autoCleanAction";
inline constexpr char autoCleanUseCriteriaAge[] = "autoCleanUseCriteriaAge";
inline constexpr char autoCleanCriteriaAge[] = "autoCleanCriteriaAge";
inline constexpr char autoCleanUseCriteriaSize[] = "autoCleanUseCriteriaSize";
inline constexpr char autoCleanCriteriaSize[] = "autoCleanCriteriaSize";
inline constexpr char autoCleanUseCriteriaTotalSize[] = "autoCleanUseCriteriaTotalSize";
inline constexpr char autoCleanCriteriaTotalSize[] = "autoCleanCriteriaTotalSize";
inline constexpr char autosaveFolder[] = "autosaveFolder";
inline constexpr char requireAdminPassword[] = "requireAdminPassword";
inline constexpr char expandedItems[] = "expandedItems";
inline constexpr char sortedColumn[] = "sortedColumn";
inline constexpr char sortedDescending[] = "sortedDescending";
inline constexpr char sortColumn[] = "sortColumn";
inline constexpr char sortDescending[] = "sortDescending";
// Premiere 2019+ copies "<Project>-YYYY-MM-DD_HH-MM-SS" and "<Project>" join their project.
inline constexpr char premiereGroupTimestampedCopies[] = "premiereGroupTimestampedCopies";
// Projects and autosaves that no rule, helper or archive may take, by path ("~/..." in the home).
inline constexpr char pinnedPaths[] = "pinnedPaths";
// The background jobs leave an autosave written in the last so many minutes alone; 0: off.
inline constexpr char guardMinutes[] = "guardMinutes";
// The window shows what a rule would remove, to untick, before asking.
inline constexpr char previewRules[] = "previewRules";
// Thin Out…'s fields as last accepted (a dictionary).
inline constexpr char thinOutRule[] = "thinOutRule";
// The usage analytics' counters, and where they are sent.
inline constexpr char launchCount[] = "launchCount";
inline constexpr char lastSubmission[] = "lastSubmission";
inline constexpr char lastOSVersion[] = "lastOSVersion";
inline constexpr char qcEndpoint[] = "qcEndpoint";
// Lives only in the analytics file, never in the application's own settings.
inline constexpr char logQC[] = "logQC";
// Maker-wide switches in the global file.
inline constexpr char disableLogging[] = "disable-logging";
inline constexpr char disableCrashReporter[] = "disable-crash-reporter";
inline constexpr char checkForUpdatesAtStartup[] = "SUCheckAtStartup";
} // namespace SettingsKey
