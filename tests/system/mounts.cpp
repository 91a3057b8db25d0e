#include "mounts.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/loop.h>
#include <linux/magic.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace system_tests {

namespace {

// Mounts of this program alone: nobody outside sees them, and the kernel removes
// them with the last process inside. Without the right to it they are public.
class own_namespace : public testing::Environment {
 public:
    void SetUp() override {
        if (unshare(CLONE_NEWNS) == 0)
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
    }
};

}  // namespace

static const testing::Environment *const environment =
    testing::AddGlobalTestEnvironment(new own_namespace);

static std::string reason(const std::string &what) {
    return what + ": " + std::strerror(errno);
}

std::string missing_for_mounts() {
    static const std::string missing = [] {
        const private_folder folder;
        if (mount("none", folder.path().c_str(), "tmpfs", 0, "size=64k") != 0)
            return reason("this process may not mount (needs root with CAP_SYS_ADMIN)");
        umount2(folder.path().c_str(), MNT_DETACH);
        return std::string();
    }();
    return missing;
}

std::string missing_for_cards() {
    const int fuse = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (fuse < 0)
        return reason("no FUSE: /dev/fuse");
    close(fuse);
    if (!missing_for_mounts().empty() && find_program("fusermount3").empty())
        return "neither the right to mount nor the program fusermount3";
    return {};
}

// A free loop device, open and without a file, or -1.
static int free_loop_device(std::string *path) {
    const int control = open("/dev/loop-control", O_RDWR | O_CLOEXEC);
    if (control < 0)
        return -1;
    const int number = ioctl(control, LOOP_CTL_GET_FREE);
    close(control);
    if (number < 0)
        return -1;
    *path = "/dev/loop" + std::to_string(number);
    return open(path->c_str(), O_RDWR | O_CLOEXEC);
}

std::string missing_for_images(const std::vector<std::string> &programs) {
    for (const std::string &program : programs) {
        if (find_program(program).empty())
            return "the program " + program + " is not installed";
    }
    if (std::string missing = missing_for_mounts(); !missing.empty())
        return missing;
    std::string path;
    const int loop = free_loop_device(&path);
    if (loop < 0)
        return reason("no loop device");
    close(loop);
    return {};
}

bool is_in_memory(const std::string &folder) {
    struct statfs facts = {};
    return statfs(folder.c_str(), &facts) == 0 &&
           (facts.f_type == TMPFS_MAGIC || facts.f_type == RAMFS_MAGIC);
}

private_folder::private_folder(const std::string &parent) {
    const std::string above =
        parent.empty() ? std::filesystem::temp_directory_path().string() : parent;
    std::string pattern = above + "/trovik-system-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        ADD_FAILURE() << reason(pattern);
        std::abort();  // nothing may be done in a folder that is not ours
    }
    m_path = pattern;
}

private_folder::~private_folder() {
    std::error_code error;
    std::filesystem::remove_all(m_path, error);
    EXPECT_FALSE(error) << m_path << ": " << error.message();
}

volume::volume(const std::string &name) : m_path(m_folder.path() + "/" + name) {
    std::filesystem::create_directory(m_path);
    // Others may pass: one test looks at its volume as an ordinary user.
    chmod(m_folder.path().c_str(), 0755);
}

volume::~volume() {
    unmount();
}

void volume::check_mounted(bool mounted, const std::string &how) {
    m_mounted = mounted;
    EXPECT_TRUE(mounted) << how;
}

void volume::unmount() {
    if (!m_mounted)
        return;
    m_mounted = false;
    const bool as_root = missing_for_mounts().empty();
    for (int attempt = 0; attempt < 50; ++attempt) {
        const bool done = as_root ? umount2(m_path.c_str(), 0) == 0
                                  : run_program({"fusermount3", "-u", m_path}).exit_status == 0;
        if (done)
            return;
        usleep(100000);
    }
    ADD_FAILURE() << reason(m_path + " is still in use");
    if (as_root)
        umount2(m_path.c_str(), MNT_DETACH);
    else
        run_program({"fusermount3", "-uz", m_path});
}

std::vector<int> volume::test_files() const {
    std::vector<int> numbers;
    for (const auto &entry : std::filesystem::directory_iterator(m_path)) {
        const std::string name = entry.path().filename();
        const size_t digits = name.find_first_not_of("0123456789");
        if (digits > 0 && digits < 10 && name[0] != '0' && name.substr(digits) == ".fff")
            numbers.push_back(std::stoi(name));
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

tmpfs_volume::tmpfs_volume(const std::string &options) {
    const int result =
        mount("trovik-test", path().c_str(), "tmpfs", MS_NOSUID | MS_NODEV, options.c_str());
    check_mounted(result == 0, reason("tmpfs " + options));
}

void tmpfs_volume::remount_read_only() {
    EXPECT_EQ(mount("none", path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0)
        << reason(path());
}

bind_volume::bind_volume(const std::string &source) {
    const int result = mount(source.c_str(), path().c_str(), nullptr, MS_BIND, nullptr);
    check_mounted(result == 0, reason("bind " + source));
}

// Between finding a free device and taking it another process may have been faster.
int attach_loop(const std::string &file, std::string *device) {
    const int image = open(file.c_str(), O_RDWR | O_CLOEXEC);
    for (int attempt = 0; image >= 0 && attempt < 20; ++attempt) {
        const int loop = free_loop_device(device);
        loop_config config = {};
        config.fd = static_cast<__u32>(image);
        config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
        if (loop >= 0 && ioctl(loop, LOOP_CONFIGURE, &config) == 0) {
            close(image);
            return loop;
        }
        close(loop);
        usleep(50000);
    }
    close(image);
    return -1;
}

image_volume::image_volume(std::uint64_t bytes, std::vector<std::string> make,
                           std::vector<std::string> mount_words, const char *type) {
    make_and_mount(bytes, std::move(make), std::move(mount_words), type);
}

void image_volume::make_and_mount(std::uint64_t bytes, std::vector<std::string> make,
                                  std::vector<std::string> mount_words, const char *type) {
    const std::string image = private_path() + "/image";
    close(open(image.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    std::filesystem::resize_file(image, bytes);
    std::string device;
    m_loop = attach_loop(image, &device);
    ASSERT_GE(m_loop, 0) << reason("loop device");
    m_device_name = device.substr(device.rfind('/') + 1);
    make[0] = find_program(make[0]);
    make.push_back(device);
    const process_result made = run_program(make);
    ASSERT_EQ(made.exit_status, 0) << made.out << made.err;
    if (mount_words.empty()) {
        const int result = mount(device.c_str(), path().c_str(), type, 0, nullptr);
        check_mounted(result == 0, reason(type));
        return;
    }
    mount_words[0] = find_program(mount_words[0]);
    mount_words.push_back(device);
    mount_words.push_back(path());
    const process_result mounted = run_program(mount_words);
    check_mounted(mounted.exit_status == 0, mounted.out + mounted.err);
}

image_volume::~image_volume() {
    unmount();
    close(m_loop);
}

bool is_mount_root(const std::string &folder) {
    struct stat here = {};
    struct stat above = {};
    return stat(folder.c_str(), &here) == 0 && stat((folder + "/..").c_str(), &above) == 0 &&
           here.st_dev != above.st_dev;
}

card::card(std::vector<std::string> options, const std::string &name) : volume(name) {
    options.insert(options.begin(), {TROVIK_CARDSIM_PROGRAM, path(), "--foreground"});
    m_server = std::make_unique<child_process>(options);
    bool mounted = false;
    for (int attempt = 0; attempt < 2000 && !mounted && m_server->is_running(); ++attempt) {
        mounted = is_mount_root(path());
        if (!mounted)
            usleep(10000);
    }
    const std::string what = mounted ? "" : m_server->wait().err;
    check_mounted(mounted, "trovik-cardsim: " + what);
}

card::~card() {
    unmount();
    const process_result ended = m_server->wait();
    if (!m_died) {
        EXPECT_EQ(ended.exit_status, 0) << "trovik-cardsim: " << ended.err;
    }
}

void card::die() {
    if (!m_died.exchange(true))
        m_server->send_signal(SIGKILL);
}

}  // namespace system_tests
