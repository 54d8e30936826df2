#pragma once

// Drives the real modal QFileDialog that a click opens, the way a person would: type the path,
// press Open or Save, and look again until the dialog has gone.

#include <QApplication>
#include <QDeadlineTimer>
#include <QFileDialog>
#include <QLineEdit>
#include <QTimer>

#include <functional>

namespace UiSupport {

// What the dialog showed when it first appeared, and why driving it failed (empty when the
// dialog took the path and closed).
struct FileDialogSeen {
    bool appeared = false;
    QString title;
    QStringList nameFilters;
    QString proposed;
    QFileDialog::AcceptMode acceptMode = QFileDialog::AcceptOpen;
    QFileDialog::FileMode fileMode = QFileDialog::AnyFile;
    QString failure;
};

inline QString describe(const QFileDialog *dialog)
{
    const auto *edit = dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"));
    return QStringLiteral("the dialog \"%1\" stayed open in %2 with selected files [%3] and "
                          "\"%4\" in its name field")
        .arg(dialog->windowTitle(), dialog->directory().absolutePath(),
             dialog->selectedFiles().join(QStringLiteral(", ")),
             edit ? edit->text() : QStringLiteral("(no name field)"));
}

// Calls `open`, which must open a modal file dialog and return once it has closed, and answers
// the dialog with `path` (absolute). QFileDialog::selectFile() writes the name field only while
// that field does not have the keyboard focus, and the field takes the focus when the dialog is
// activated, in an early pass of the dialog's own event loop. A driver that chose the file before
// the activation got it; one that came after left the field empty (Open then does nothing and the
// dialog stays up for ever) or holding the proposed name (the export went to the working folder),
// depending on how busy the machine was. So every round writes the path into the name field, as
// typing does, accepts only once the dialog reports exactly that path as selected, and comes back
// until the dialog is gone. After `deadlineMs` whatever is open is rejected and the failure says
// what the dialog showed, so a test fails instead of hanging.
inline FileDialogSeen answerFileDialog(const QString &path, const std::function<void()> &open,
                                       int deadlineMs = 60000)
{
    FileDialogSeen seen;
    QDeadlineTimer deadline(deadlineMs);
    QTimer driver;
    QObject::connect(&driver, &QTimer::timeout, &driver, [&] {
        QWidget *modal = QApplication::activeModalWidget();
        auto *dialog = qobject_cast<QFileDialog *>(modal);
        if (modal && !dialog && deadline.hasExpired()) {
            // Something the dialog asked in turn (an overwrite question, a "not found" box).
            seen.failure = QStringLiteral("a %1 \"%2\" stayed open")
                               .arg(QString::fromLatin1(modal->metaObject()->className()),
                                    modal->windowTitle());
            if (auto *box = qobject_cast<QDialog *>(modal))
                box->reject();
            else
                modal->close();
            return;
        }
        if (!dialog || !dialog->isVisible())
            return;
        if (!seen.appeared) {
            seen.appeared = true;
            seen.title = dialog->windowTitle();
            seen.nameFilters = dialog->nameFilters();
            seen.proposed = dialog->selectedFiles().value(0);
            seen.acceptMode = dialog->acceptMode();
            seen.fileMode = dialog->fileMode();
        }
        if (deadline.hasExpired()) {
            seen.failure = describe(dialog);
            dialog->reject();
            return;
        }
        if (dialog->selectedFiles() != QStringList{path}) {
            dialog->selectFile(path);
            if (auto *edit = dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit")))
                edit->setText(path);
        }
        if (dialog->selectedFiles() == QStringList{path})
            static_cast<QDialog *>(dialog)->accept(); // QFileDialog::accept, which checks the name
    });
    driver.start(20);
    open();
    driver.stop();
    if (!seen.appeared && seen.failure.isEmpty())
        seen.failure = QStringLiteral("no file dialog appeared");
    return seen;
}

} // namespace UiSupport
