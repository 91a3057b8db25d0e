// The files first: what is above a file system in user space goes down through its device's
// buffers. Those are dropped also when files have stayed, since every copy less may show what the
// medium lost.
#include "volume/medium_doubt.h"

#include "volume/device_buffers.h"
#include "volume/resident_pages.h"

std::string medium_doubt(const volume_info &volume, const std::string &folder,
                         const std::vector<std::string> &names) {
    std::string files;
    std::string buffers;
    const bool files_dropped = resident_pages_drop(volume, folder, names, files);
    const bool buffers_dropped = device_buffers_drop(volume, buffers);
    if (files_dropped && buffers_dropped)
        return {};
    return files_dropped ? buffers : buffers_dropped ? files : files + ", and " + buffers;
}
