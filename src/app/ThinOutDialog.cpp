#include "ThinOutDialog.h"

#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {

// The remembered fields, under one settings key.
namespace Field {
constexpr char useAge[] = "useAge";
constexpr char age[] = "age";
constexpr char useKeep[] = "useKeep";
constexpr char keep[] = "keep";
constexpr char useSize[] = "useSize";
constexpr char size[] = "size";
constexpr char unit[] = "unit"; // 0: MB, 1: GB
} // namespace Field

QSpinBox* spinBox(int minimum, int maximum) {
    auto* box = new QSpinBox;
    box->setRange(minimum, maximum);
    box->setAccelerated(true);
    return box;
}

} // namespace

ThinOutDialog::ThinOutDialog(BMProjectList projects, bool selectionOnly, PinnedPaths pins, QDateTime now,
                             QWidget* parent, OutlineText text)
    : QDialog(parent), m_projects(std::move(projects)), m_pins(std::move(pins)), m_now(std::move(now)),
      m_text(std::move(text)) {
    setWindowTitle(tr("Thin Out Autosaves"));
    setWindowModality(Qt::WindowModal);
    auto* layout = new QVBoxLayout(this);
    const QString scope =
        selectionOnly
            ? (m_projects.size() == 1 ? tr("Thin out the selected project:")
                                      : tr("Thin out the %1 selected projects:").arg(m_projects.size()))
            : tr("Thin out all %1 projects (none is selected):").arg(m_projects.size());
    layout->addWidget(new QLabel(scope, this));

    auto* grid = new QGridLayout;
    m_useAge = new QCheckBox(tr("Remove autosaves older than"), this);
    m_age = spinBox(1, 9999);
    grid->addWidget(m_useAge, 0, 0);
    grid->addWidget(m_age, 0, 1);
    grid->addWidget(new QLabel(tr("days"), this), 0, 2);
    m_useKeep = new QCheckBox(tr("but always keep the newest"), this);
    m_keep = spinBox(0, 9999);
    grid->addWidget(m_useKeep, 1, 0);
    grid->addWidget(m_keep, 1, 1);
    grid->addWidget(new QLabel(tr("of each project"), this), 1, 2);
    m_useSize = new QCheckBox(tr("and keep each project under"), this);
    m_size = spinBox(1, 999999);
    m_unit = new QComboBox(this);
    m_unit->addItems({tr("MB"), tr("GB")});
    grid->addWidget(m_useSize, 2, 0);
    grid->addWidget(m_size, 2, 1);
    grid->addWidget(m_unit, 2, 2);
    grid->setColumnStretch(3, 1);
    layout->addLayout(grid);

    m_summary = new QLabel(this);
    m_summary->setWordWrap(true);
    layout->addWidget(m_summary);
    layout->addStretch();
    m_buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    layout->addWidget(m_buttons);
    connect(m_buttons, &QDialogButtonBox::accepted, this, &ThinOutDialog::accept);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    restore();
    for (QCheckBox* box : {m_useAge, m_useKeep, m_useSize})
        connect(box, &QCheckBox::toggled, this, &ThinOutDialog::update);
    for (QSpinBox* box : {m_age, m_keep, m_size})
        connect(box, &QSpinBox::valueChanged, this, &ThinOutDialog::update);
    connect(m_unit, &QComboBox::currentIndexChanged, this, &ThinOutDialog::update);
    update();
}

QPushButton* ThinOutDialog::okButton() const {
    return m_buttons->button(QDialogButtonBox::Ok);
}

CombinedRule ThinOutDialog::rule() const {
    CombinedRule rule;
    if (m_useAge->isChecked())
        rule.olderThanDays = m_age->value();
    if (m_useKeep->isChecked())
        rule.keepNewest = m_keep->value();
    if (m_useSize->isChecked()) {
        const qint64 unit = m_unit->currentIndex() == 1 ? HelperRules::gigabyte : HelperRules::megabyte;
        rule.maxProjectBytes = qint64(m_size->value()) * unit;
    }
    return rule;
}

void ThinOutDialog::update() {
    m_age->setEnabled(m_useAge->isChecked());
    m_keep->setEnabled(m_useKeep->isChecked());
    m_size->setEnabled(m_useSize->isChecked());
    m_unit->setEnabled(m_useSize->isChecked());
    m_choices = rule().choose(m_projects, m_pins, m_now);
    const QString size = m_text.formatFileSize(CombinedRule::bytesOf(m_choices));
    if (m_choices.isEmpty())
        m_summary->setText(tr("Nothing would be removed."));
    else if (m_choices.size() == 1)
        m_summary->setText(tr("1 autosave, %1, would be moved to the Trash.").arg(size));
    else
        m_summary->setText(
            tr("%1 autosaves, %2, would be moved to the Trash.").arg(m_choices.size()).arg(size));
    okButton()->setEnabled(!m_choices.isEmpty());
}

void ThinOutDialog::accept() {
    if (m_choices.isEmpty())
        return;
    remember();
    QDialog::accept();
}

void ThinOutDialog::restore() {
    const QVariantMap last = BMSettings::standard().value(QLatin1String(SettingsKey::thinOutRule)).toMap();
    auto value = [&](const char* key, const QVariant& fallback) {
        return last.value(QLatin1String(key), fallback);
    };
    m_useAge->setChecked(value(Field::useAge, true).toBool());
    m_age->setValue(value(Field::age, 14).toInt());
    m_useKeep->setChecked(value(Field::useKeep, true).toBool());
    m_keep->setValue(value(Field::keep, 3).toInt());
    m_useSize->setChecked(value(Field::useSize, false).toBool());
    m_size->setValue(value(Field::size, 10).toInt());
    m_unit->setCurrentIndex(qBound(0, value(Field::unit, 1).toInt(), 1));
}

void ThinOutDialog::remember() const {
    const QVariantMap fields{
        {QLatin1String(Field::useAge), m_useAge->isChecked()},
        {QLatin1String(Field::age), m_age->value()},
        {QLatin1String(Field::useKeep), m_useKeep->isChecked()},
        {QLatin1String(Field::keep), m_keep->value()},
        {QLatin1String(Field::useSize), m_useSize->isChecked()},
        {QLatin1String(Field::size), m_size->value()},
        {QLatin1String(Field::unit), m_unit->currentIndex()},
    };
    BMSettings::standard().setValue(QLatin1String(SettingsKey::thinOutRule), fields);
}
