// SPDX-License-Identifier: GPL-3.0-or-later
// Asks libudev for the properties in udev's database. Without a udev daemon the answer is empty or
// holds only the kernel's own properties.
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

}  // namespace

static device_properties udev_properties(dev_t number) {
    static constexpr std::array<const char *, 8> wanted = {
        "ID_FS_LABEL_ENC",   "ID_FS_UUID_ENC",         "ID_BUS",
        "ID_DRIVE_FLASH_SD", "ID_DRIVE_FLASH_CF",      "ID_DRIVE_FLASH_MS",
        "ID_DRIVE_FLASH_SM", "ID_DRIVE_MEDIA_FLASH_SD"};
    device_properties properties;
    // A udev context must not be shared between threads.
    const std::unique_ptr<udev, udev_release> context(udev_new());
    if (context == nullptr)
        return properties;
    const std::unique_ptr<udev_device, device_release> device(
        udev_device_new_from_devnum(context.get(), 'b', number));
    if (device == nullptr)
        return properties;
    for (const char *name : wanted) {
        const char *value = udev_device_get_property_value(device.get(), name);
        if (value != nullptr)
            properties[name] = value;
    }
    return properties;
}

block_device_places block_device_system_places() {
    block_device_places places;
    places.properties = udev_properties;
    return places;
}
