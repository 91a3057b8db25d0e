// SPDX-License-Identifier: GPL-3.0-or-later
// The window's process. The event loop starts before the disclaimer, which needs a loop to quit.
#include <QApplication>
#include <QCommandLineParser>
#include <QMainWindow>
#include <QTimer>
#include <cstdio>

#include "app/TRAppDelegate.h"
#include "app/controller_state.h"
#include "report/printable.h"
#include "volume/volume.h"

constexpr int exit_usage = 64;  // sysexits.h: EX_USAGE

// The volume of the arguments; empty without one. Ends the process on wrong arguments.
static QString volume_from_arguments(const QApplication &app) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Tells the truth about SD cards, USB sticks and other "
        "removable storage.");
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument("VOLUME", "Any folder on the volume to begin with.", "[VOLUME]");
    // QCommandLineParser::process would exit with another status.
    if (!parser.parse(QApplication::arguments())) {
        std::fprintf(stderr, "trovik: %s\n", parser.errorText().toLocal8Bit().constData());
        std::exit(exit_usage);
    }
    parser.process(app);
    const QStringList words = parser.positionalArguments();
    if (words.isEmpty())
        return {};
    if (words.size() > 1) {
        std::fprintf(stderr, "trovik: one volume at a time, not %lld\n",
                     static_cast<long long>(words.size()));
        std::exit(exit_usage);
    }
    volume_info volume;
    std::string error;
    if (!volume_describe(words.constFirst().toStdString(), volume, error)) {
        std::fprintf(stderr, "trovik: %s\n", printable_text(error).c_str());
        std::exit(exit_usage);
    }
    return words.constFirst();
}

int main(int argc, char *argv[]) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("trovik"));
    QApplication::setApplicationVersion(
        QStringLiteral(TROVIK_SHORT_VERSION "-" TROVIK_BUNDLE_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("trovik"));
    const QString volume = volume_from_arguments(app);

    TRAppDelegate controller;
    QApplication::setQuitOnLastWindowClosed(
        controller.applicationShouldTerminateAfterLastWindowClosed());
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &controller,
                     [&] { controller.applicationWillTerminate(); });
    controller.window->show();
    QTimer::singleShot(0, &controller, [&] {
        if (controller.applicationDidFinishLaunching() && !volume.isEmpty())
            controller.selectVolumeOfFolder(volume);
    });
    return controller.leaveProcess(QApplication::exec());
}
