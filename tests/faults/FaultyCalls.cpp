// SPDX-License-Identifier: Apache-2.0
#include "FaultyCalls.h"

#include "TempDirectory.h"

#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace srcwatch_test {

FaultyCalls::FaultyCalls(std::string path, const std::string& paths, const std::string& stores)
    : m_path(std::move(path)),
      m_control(nullptr),
      m_environment{{"LD_PRELOAD", SRCWATCH_FAULTY_CALLS},
                    {kFaultControlVariable, m_path},
                    {kFaultPathsVariable, paths},
                    {kFaultStoresVariable, stores}}
{
    WriteFile(m_path, std::string(sizeof(FaultControl), '\0'));
    const int file = open(m_path.c_str(), O_RDWR | O_CLOEXEC);
    void* const memory = mmap(nullptr, sizeof(FaultControl), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (memory == MAP_FAILED) throw std::runtime_error("cannot share " + m_path);
    m_control = static_cast<FaultControl*>(memory);
}

FaultyCalls::~FaultyCalls() { munmap(m_control, sizeof(FaultControl)); }

void FaultyCalls::Fail(int error, int first, int count, int milliseconds)
{
    m_control->isArmed = 0;
    m_control->error = error;
    m_control->first = first;
    m_control->length = count;
    m_control->milliseconds = milliseconds;
    m_control->calls = 0;
    m_control->failed = 0;
    m_control->firstFailureMs = 0;
    m_control->lastFailureMs = 0;
    m_control->isArmed = 1;
}

std::int64_t FaultyCalls::End() const
{
    if (m_control->failed == 0) return 0;
    return m_control->length > 0 ? m_control->lastFailureMs.load()
                                 : m_control->firstFailureMs + m_control->milliseconds;
}

}  // namespace srcwatch_test
