#include "ui/pages/skillpreviewsheet.h"

#include "ui/controls/settingrow.h"
#include "ui/pages/pagekit.h"
#include "model/settingsmodel.h"
#include "skills/skillfile.h"
#include "skills/skillpreview.h"

#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace {

QLabel *field(const QString &objectName)
{
    QLabel *label = plainLabel();
    label->setObjectName(objectName);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    return label;
}

} // namespace

SkillPreviewSheet::SkillPreviewSheet(SettingsModel *model, const RegistryEntry &entry,
                                     QWidget *parent)
    : QDialog(parent)
    , m_model(model)
    , m_entry(entry)
    , m_status(secondaryLabel(u"Downloading…"_s))
    , m_title(field(u"previewTitle"_s))
    , m_description(field(u"previewDescription"_s))
    , m_source(field(u"previewSource"_s))
    , m_size(field(u"previewSize"_s))
    , m_linesCaption(secondaryLabel())
    , m_lines(new QPlainTextEdit)
    , m_install(new QPushButton(u"Install"_s))
    , m_cancel(new QPushButton(u"Cancel"_s))
{
    setObjectName(u"skillPreviewSheet"_s);
    setModal(true);
    setWindowTitle(u"Preview of "_s + RegistryEntry::withoutSearchPrefix(entry.name));
    resize(640, 620);

    m_status->setObjectName(u"previewStatus"_s);
    m_title->setFont(headingFont(font()));
    m_title->setText(entry.title);
    m_linesCaption->setObjectName(u"previewLinesCaption"_s);
    m_lines->setObjectName(u"previewLines"_s);
    m_lines->setReadOnly(true);
    m_lines->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_lines->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_lines->setAccessibleName(u"First lines of the file"_s);
    m_install->setObjectName(u"previewInstall"_s);
    m_install->setEnabled(false);
    m_cancel->setObjectName(u"previewCancel"_s);
    m_cancel->setDefault(true);

    auto *facts = new QFormLayout;
    facts->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    facts->addRow(plainLabel(u"Description"_s), m_description);
    facts->addRow(plainLabel(u"Source"_s), m_source);
    facts->addRow(plainLabel(u"Size"_s), m_size);

    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_cancel);
    buttons->addWidget(m_install);

    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(20, 16, 20, 16);
    column->setSpacing(10);
    column->addWidget(m_title);
    column->addWidget(m_status);
    column->addLayout(facts);
    column->addWidget(m_linesCaption);
    column->addWidget(m_lines, 1);
    column->addLayout(buttons);

    connect(m_cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_install, &QPushButton::clicked, this, [this] {
        m_model->installDownloaded(m_entry, m_bytes);
        accept();
    });
    model->download(entry, this, [this](const QString &source, const QByteArray &bytes) {
        present(source, bytes);
    });
}

void SkillPreviewSheet::present(const QString &source, const QByteArray &bytes)
{
    m_loaded = true;
    if (source.isEmpty()) {
        m_status->setText(u"Couldn't download this skill. Nothing was installed."_s);
        Q_EMIT loaded(false);
        return;
    }
    m_bytes = bytes;
    const QString stem = SkillFile::installStem(RegistryEntry::withoutSearchPrefix(m_entry.name))
                             .value_or(QString());
    const SkillPreview::Preview preview = SkillPreview::make(stem, source, bytes);
    m_status->setText(u"Installs as "_s + preview.fileName);
    m_title->setText(preview.title);
    m_description->setText(preview.description.isEmpty() ? u"(none)"_s : preview.description);
    m_source->setText(preview.source);
    m_size->setText(SkillPreview::sizeText(preview.size));
    m_linesCaption->setText(SkillPreview::linesCaption(preview));
    m_lines->setPlainText(preview.lines.join(u'\n'));
    m_install->setEnabled(true);
    m_install->setDefault(true);
    Q_EMIT loaded(true);
}
