// SPDX-License-Identifier: GPL-3.0-or-later
// The help: each topic opens an alert with a fixed text. The texts keep their spelling.
#include <QMainWindow>

#include "app/TRAppDelegate.h"
#include "app/alert.h"

static const char general_text[] =
    "\n"
    "Trovik performes a full memory card write and read test.\n"
    "The speed for your memory cards depends on software and hardware.\n"
    "     \n"
    "     trovik will first write your memory full with data and measure a "
    "speed test for writing data, then validating written data and do a speed "
    "test for reading. After reporting data lost, corrupted, slightly changed "
    "and overwritten data, it will remove the generated test files.\n"
    "1. You should disable Spotlight for external storage. If there is a "
    ".Spotlight-V100 within your external rood folder, Spotlight was there. By "
    "creating an empty file on top level with $ cd "
    "/Volumes/<YOUR-STORAGE-NAME-HERE>\n"
    "$ touch .metadata_never_index Spotlight will not touch your device any "
    "more.     \n"
    "Software: If you are running 3th part software on your Mac like Tuxera "
    "NTFS: This could slow down the speed of your read/write process.\n"
    "You can disable this in System Preferences.\n"
    "\n"
    "If you plan to test NTFS formatted file systems or any other file system "
    "not supportet by Apple, speed/write test results may varry depending on "
    "how your 3th part device driver is implemented.\n"
    "\n"
    "Hardware: Speed depends also a lot of your used hardware. The following "
    "hardware card adapters may slow down your read/write experices:- MicroSD "
    "to USB 2.0 adapter\n"
    "- MicroSD to standard SD card adapter\n"
    "- not optimized read/write hardware for your memory chips on your memory "
    "card (there are huge differnces here)\n"
    "Some examples:\n"
    "- 2GB USB from swissbit (original): Runs very fast\n"
    "compared to\n"
    "- microSD HC Class 4, 4GB CO4G TAIWAN, Kingston, SDC4/4GB (original) "
    "connected with a MicroSD USB 2.0 adapter: runs very slow\n"
    "What you are measuring here is the hardware and software chain. It may "
    "speed up and slow down durring the whole process.";

static const char hidden_files_text[] =
    "By default Finder does not show hidden files and folders. Hidden files "
    "starting with a dot.\n"
    "\n"
    "To view all files and folders copy and paste the following in a Terminal "
    "and hit ENTER.\n"
    "\n"
    "Show all files including hidden files:\n"
    "\n"
    "     defaults write com.apple.finder AppleShowAllFiles -bool YES; killall "
    "Finder\n"
    "\n"
    "Do not show all files including hidden files:\n"
    "\n"
    "     defaults write com.apple.finder AppleShowAllFiles -bool NO; killall "
    "Finder\n";

static const char disable_spotlight_text[] =
    "By default Spotlight is enabled also for external devices like SD-Cards "
    "and USB memeory sticks (pen drives).\n"
    "\n"
    "Often this does not make sense.\n"
    "\n"
    "You can disable it here.\n"
    "\n"
    "Click again to enable it.\n";

static const char remove_spotlight_data_text[] =
    "If Spotlight was active on a device, it stores Spotlight data on it. This "
    "does not make sense if you have Spotlight disabled on a device.\n"
    "\n"
    "You can remove Spotlight data. NOTE: You can not undo this action.\n";

static const char remove_trashes_data_text[] =
    "If you delete some files on an external device, it just moves it to a "
    "folder Trashes data.\n"
    "\n"
    "You can remove Trashes data. NOTE: You can not undo this action.\n";

static const char remove_logging_data_text[] =
    "NOTE: This function is not implemented now\n"
    "\n"
    "By default the file system does some logging.\n"
    "\n"
    "You can remove the file system logged data. NOTE: You can not undo this "
    "action.\n"
    "\n"
    "NOTE: This function is not implemented now\n";

static const char disable_logging_text[] =
    "NOTE: This function is not implemented now\n"
    "By default the file system does some logging.\n"
    "\n"
    "You can disable the file system logging.\n"
    "\n"
    "NOTE: This function is not implemented now\n";

help_text help_text_of(help_topic topic) {
    switch (topic) {
        case help_topic::hidden_files:
            return {"How to show hidden Files and Folders within Finder", hidden_files_text};
        case help_topic::disable_spotlight:
            return {"Disable / Enable Spotlight", disable_spotlight_text};
        case help_topic::remove_spotlight_data:
            return {"Remove Spotlight Data", remove_spotlight_data_text};
        case help_topic::remove_trashes_data:
            return {"Remove Trashes Data", remove_trashes_data_text};
        case help_topic::remove_logging_data:
            return {"Remove Logging Data", remove_logging_data_text};
        case help_topic::disable_logging:
            return {"Disable Logging", disable_logging_text};
        case help_topic::general:
            break;
    }
    return {"Info", general_text};
}

void TRAppDelegate::showHelp(help_topic topic) {
    const help_text help = help_text_of(topic);
    alert_run(window, {.style = alert_style::warning,
                       .message = QString::fromUtf8(help.title),
                       .informative = QString::fromUtf8(help.text),
                       .buttons = {QStringLiteral("OK")}});
}

void TRAppDelegate::UI_showInfo() {
    showHelp(help_topic::general);
}

void TRAppDelegate::UI_showInfo_hiddenFiles() {
    showHelp(help_topic::hidden_files);
}

void TRAppDelegate::UI_showInfo_disableSpotlight() {
    showHelp(help_topic::disable_spotlight);
}

void TRAppDelegate::UI_showInfo_removeSpotlightData() {
    showHelp(help_topic::remove_spotlight_data);
}

void TRAppDelegate::UI_showInfo_removeTrashesData() {
    showHelp(help_topic::remove_trashes_data);
}

void TRAppDelegate::UI_showInfo_removeLoggingData() {
    showHelp(help_topic::remove_logging_data);
}

void TRAppDelegate::UI_showInfo_disableLogging() {
    showHelp(help_topic::disable_logging);
}
