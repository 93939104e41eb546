#pragma once

#include <QDialog>

class QLabel;
class QTextBrowser;

// The About box: the application's icon and name, its versions with the family's, and the
// credits when the application carries them.
class AboutDialog : public QDialog {
    Q_OBJECT
public:
    explicit AboutDialog(QWidget* parent = nullptr);

    // "<short> (<build>)\n\n<family> <group version text> (<group version>)"; missing
    // values are empty texts.
    static QString versionText(const QString& shortVersion, const QString& bundleVersion,
                               const QString& groupVersionString, const QString& groupVersion);
    static QString applicationName();

    QLabel* nameLabel() const { return m_name; }
    QLabel* versionLabel() const { return m_version; }
    QLabel* licenceLabel() const { return m_licence; }
    QTextBrowser* credits() const { return m_credits; }

private:
    QLabel* m_name = nullptr;
    QLabel* m_version = nullptr;
    QLabel* m_licence = nullptr;
    QTextBrowser* m_credits = nullptr;
};
