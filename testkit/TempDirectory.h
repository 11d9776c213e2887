// SPDX-License-Identifier: Apache-2.0
//
// A directory that is removed with all that lies in it.
#ifndef SRCWATCH_TESTKIT_TEMPDIRECTORY_H
#define SRCWATCH_TESTKIT_TEMPDIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace srcwatch_test {

class TempDirectory {
public:
    TempDirectory()
    {
        std::string name = (std::filesystem::temp_directory_path() / "srcwatch-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make a temporary directory");
        m_path = name;
    }
    ~TempDirectory()
    {
        std::error_code ignored;  ///< nothing more can be done about what stays
        std::filesystem::remove_all(m_path, ignored);
    }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    const std::string& Path() const { return m_path; }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

template <typename Container>
void WriteFile(const std::string& path, const Container& bytes)
{
    std::ofstream file(path, std::ios::binary);
    for (const auto byte : bytes) file.put(static_cast<char>(byte));
    if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

inline void WriteFile(const std::string& path, const char* text) { WriteFile(path, std::string(text)); }

}  // namespace srcwatch_test

#endif
