#pragma once

#include "skills/skilltypes.h"

#include <QByteArray>
#include <QDialog>

class QLabel;
class QPlainTextEdit;
class QPushButton;
class SettingsModel;

// The sheet the Registry page's "Preview" opens: it downloads the entry's file the way Install
// would (same requests, same limits) and shows, as plain text, the title and description the
// Skills page will show once it is installed, the address it came from, its size and its
// first 40 lines. "Install" writes exactly the bytes shown; "Cancel" writes nothing.
//
// It is opened with open() and deletes itself when closed.
//
// Object names: "skillPreviewSheet", "previewStatus", "previewTitle", "previewDescription",
// "previewSource", "previewSize", "previewLinesCaption", "previewLines", "previewInstall",
// "previewCancel".
class SkillPreviewSheet final : public QDialog {
    Q_OBJECT
public:
    SkillPreviewSheet(SettingsModel *model, const RegistryEntry &entry, QWidget *parent = nullptr);

    const RegistryEntry &entry() const { return m_entry; }
    // True once the download has answered, whether or not it brought a file.
    bool isLoaded() const { return m_loaded; }

Q_SIGNALS:
    void loaded(bool ok);

private:
    void present(const QString &source, const QByteArray &bytes);

    SettingsModel *m_model;
    RegistryEntry m_entry;
    QByteArray m_bytes;
    bool m_loaded = false;
    QLabel *m_status;
    QLabel *m_title;
    QLabel *m_description;
    QLabel *m_source;
    QLabel *m_size;
    QLabel *m_linesCaption;
    QPlainTextEdit *m_lines;
    QPushButton *m_install;
    QPushButton *m_cancel;
};
