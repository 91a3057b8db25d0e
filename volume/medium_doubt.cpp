// The files first: what is above a file system in user space goes down through its device's
// buffers. Those are dropped also when files have stayed, since every copy less may show what the
// medium lost.
#include "volume/medium_doubt.h"

#include <exception>

#include "volume/device_buffers.h"
#include "volume/resident_pages.h"

std::string medium_doubt(const volume_info &volume, const std::string &folder,
                         const std::vector<std::string> &names,
                         const std::string &unlisted) noexcept try {
    std::string files;
    std::string buffers;
    resident_pages_drop(volume, folder, names, files);
    device_buffers_drop(volume, buffers);
    std::string doubt = unlisted;
    for (const std::string &reason : {files, buffers})
        if (!reason.empty())
            doubt += (doubt.empty() ? "" : ", and ") + reason;
    return doubt;
} catch (const std::exception &error) {
    return error.what();
}
