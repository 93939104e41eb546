#include "AboutDialog.h"

#include "HelpLinks.h"
#include "foundation/PlistFile.h"

#include <QCoreApplication>
#include <QFile>
#include <QIcon>
#include <QLabel>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace {
constexpr char kFamilyName[] = "Halvern";
constexpr char kCredits[] = ":/vestry/Credits.html";
constexpr char kUpdates[] = ":/vestry/BMUpdates.plist";
} // namespace

QString AboutDialog::versionText(const QString& shortVersion, const QString& bundleVersion,
                                 const QString& groupVersionString, const QString& groupVersion) {
    return QStringLiteral("%1 (%2)\n\n%3 %4 (%5)")
        .arg(shortVersion, bundleVersion, QLatin1String(kFamilyName), groupVersionString, groupVersion);
}

QString AboutDialog::applicationName() {
    return QCoreApplication::applicationName();
}

AboutDialog::AboutDialog(QWidget* parent) : QDialog(parent) {
    const QString name = applicationName();
    setWindowTitle(tr("About %1").arg(name));

    auto* layout = new QVBoxLayout(this);
    auto* icon = new QLabel;
    icon->setPixmap(QIcon(QStringLiteral(":/vestry/icons/vestry.svg")).pixmap(96, 96));
    icon->setAlignment(Qt::AlignCenter);
    m_name = new QLabel(name);
    QFont bold = m_name->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.4);
    m_name->setFont(bold);
    m_name->setAlignment(Qt::AlignCenter);

    const QVariantMap updates =
        PlistFile::readDictionary(QString::fromLatin1(kUpdates)).value_or(QVariantMap());
    m_version =
        new QLabel(versionText(QCoreApplication::applicationVersion(), QStringLiteral(VESTRY_BUILD_NUMBER),
                               updates.value(QStringLiteral("BMGroupVersionString")).toString(),
                               updates.value(QStringLiteral("BMGroupVersion")).toString()));
    m_version->setAlignment(Qt::AlignCenter);
    m_version->setTextInteractionFlags(Qt::TextSelectableByMouse);

    const QString home = HelpLinks::productHome().toString();
    m_licence = new QLabel(tr("Free software under the GPL-3.0-or-later licence.<br><a href=\"%1\">%1</a>")
                               .arg(home.toHtmlEscaped()));
    m_licence->setAlignment(Qt::AlignCenter);
    m_licence->setTextFormat(Qt::RichText);
    m_licence->setOpenExternalLinks(true);

    m_credits = new QTextBrowser;
    m_credits->setOpenExternalLinks(true);
    layout->addWidget(icon);
    layout->addWidget(m_name);
    layout->addWidget(m_version);
    layout->addWidget(m_licence);
    layout->addWidget(m_credits, 1);

    QFile credits(QString::fromLatin1(kCredits));
    if (credits.open(QIODevice::ReadOnly)) {
        m_credits->setHtml(QString::fromUtf8(credits.readAll()));
        m_credits->moveCursor(QTextCursor::Start);
        resize(380, 460);
    } else {
        m_credits->hide();
        resize(380, 250);
    }
}
