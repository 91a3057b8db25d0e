// SPDX-License-Identifier: GPL-3.0-or-later
// Asks libudev for the properties that the udev daemon noted about a device. Without a daemon there
// is no note, and the answer is empty or holds just what the kernel says.
#include <libudev.h>

#include <array>
#include <memory>

#include "volume/block_device.h"

namespace {

struct udev_release {
    void operator()(udev *context) const { udev_unref(context); }
};
struct device_release {
    void operator()(udev_device *device) const { udev_device_unref(device); }
};

device_properties udev_properties(dev_t number) {
    static constexpr std::array<const char *, 8> NAMES = {
        "ID_FS_LABEL_ENC",   "ID_FS_UUID_ENC",         "ID_BUS",
        "ID_DRIVE_FLASH_SD", "ID_DRIVE_FLASH_CF",      "ID_DRIVE_FLASH_MS",
        "ID_DRIVE_FLASH_SM", "ID_DRIVE_MEDIA_FLASH_SD"};
    device_properties properties;
    // A context of its own for each question: a shared one must not be used by two threads.
    const std::unique_ptr<udev, udev_release> context(udev_new());
    if (context == nullptr) {
        return properties;
    }
    const std::unique_ptr<udev_device, device_release> device(
        udev_device_new_from_devnum(context.get(), 'b', number));
    if (device == nullptr) {
        return properties;
    }
    for (const char *name : NAMES) {
        const char *value = udev_device_get_property_value(device.get(), name);
        if (value != nullptr) {
            properties[name] = value;
        }
    }
    return properties;
}

}  // namespace

block_device_places block_device_system_places() {
    block_device_places places;
    places.properties = udev_properties;
    return places;
}
