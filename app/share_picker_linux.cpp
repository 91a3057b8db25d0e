// SPDX-License-Identifier: GPL-3.0-or-later
// Linux desktops have no picker for sharing, so a menu offers the clipboard, an e-mail and a file.
#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QDir>
#include <QMenu>
#include <QPushButton>
#include <QSaveFile>
#include <QStandardPaths>
#include <QUrl>

#include "app/alert.h"
#include "app/file_panel.h"
#include "app/platform.h"

static void compose_mail(QWidget *parent, const QString &text) {
    // Mail programs want "%0D%0A" between lines (RFC 6068) and do not read "+" as a blank.
    QString body = text;
    body.replace(QLatin1String("\n"), QLatin1String("\r\n"));
    const QByteArray link = "mailto:?subject=" + QUrl::toPercentEncoding("Result of trovik") +
                            "&body=" + QUrl::toPercentEncoding(body);
    if (QDesktopServices::openUrl(QUrl::fromEncoded(link)))
        return;
    alert_run(parent, {.style = alert_style::warning,
                       .message = QStringLiteral("No mail program could be opened"),
                       .informative = QStringLiteral("Copy the results to the clipboard instead."),
                       .buttons = {QStringLiteral("OK")}});
}

static void save_text(QWidget *parent, const QString &text) {
    file_panel panel(parent, QStringLiteral("Save the results"));
    panel.setAcceptMode(QFileDialog::AcceptSave);
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    panel.setDirectory(QDir(documents).exists() ? documents : QDir::homePath());
    panel.setDefaultSuffix(QStringLiteral("txt"));
    panel.set_name(QStringLiteral("trovik-results.txt"));
    if (!panel.run() || panel.selectedFiles().isEmpty())
        return;
    QSaveFile file(panel.selectedFiles().constFirst());
    const QByteArray bytes = text.toUtf8();
    // Flush first: commit in Qt 6.4 ignores a buffer that does not fit on the volume.
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush() &&
        file.commit())
        return;
    alert_run(parent, {.style = alert_style::warning,
                       .message = QStringLiteral("The file could not be saved"),
                       .informative = file.fileName() + ": " + file.errorString(),
                       .buttons = {QStringLiteral("OK")}});
}

void share_picker_show(QWidget *anchor, const QRect &place, const QStringList &items) {
    const QString text = items.join(QString());
    QWidget *const window = anchor->window();
    auto *const menu = new QMenu(anchor);
    menu->setObjectName(QStringLiteral("shareMenu"));
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction(QStringLiteral("Copy to the Clipboard"), anchor,
                    [text] { QApplication::clipboard()->setText(text); });
    menu->addAction(QStringLiteral("Compose an E-Mail"), anchor,
                    [window, text] { compose_mail(window, text); });
    menu->addAction(QStringLiteral("Save as a Text File..."), anchor,
                    [window, text] { save_text(window, text); });
    // The menu takes the mouse release, so the button would stay down.
    if (auto *const button = dynamic_cast<QAbstractButton *>(anchor))
        QObject::connect(menu, &QMenu::aboutToHide, button, [button] { button->setDown(false); });
    menu->popup(anchor->mapToGlobal(QPoint(place.left(), place.top() + place.height())));
}
