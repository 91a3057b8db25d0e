// A folder of its own for a case, removed with all that is in it.
#ifndef TROVIK_TESTS_FUZZ_PRIVATE_FOLDER_H
#define TROVIK_TESTS_FUZZ_PRIVATE_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <string>

class private_folder {
 public:
    private_folder() {
        m_path = (std::filesystem::temp_directory_path() / "trovik-fuzz-XXXXXX").string();
        if (mkdtemp(m_path.data()) == nullptr)
            std::abort();
    }
    ~private_folder() {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
    }
    private_folder(const private_folder &) = delete;
    private_folder &operator=(const private_folder &) = delete;

    const std::string &path() const { return m_path; }

 private:
    std::string m_path;
};

#endif
