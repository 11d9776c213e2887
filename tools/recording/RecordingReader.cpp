// SPDX-License-Identifier: Apache-2.0
#include "BusCapture.h"
#include "Failure.h"
#include "Handle.h"
#include "RecordingFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

#include <sys/stat.h>

namespace ctl {

namespace {

using FilePtr = srcwatch::Handle<FILE, std::fclose>;

FilePtr Open(const std::string& path)
{
    FilePtr file(std::fopen(path.c_str(), "rbe"));
    struct stat status {};
    if (!file || fstat(fileno(file.get()), &status) != 0) {
        throw Failure(errno == ENOENT ? "no such file: " + path
                                      : "cannot read " + path + ": " + strerrordesc_np(errno));
    }
    if (!S_ISREG(status.st_mode)) throw Failure(path + " is not a file");
    if (status.st_size == 0) throw Failure(path + " is empty");
    return file;
}

}  // namespace

std::unique_ptr<srcwatch::EntrySource> OpenRecording(const std::string& path)
{
    FilePtr file = Open(path);
    const int first = std::fgetc(file.get());
    static_cast<void>(std::ungetc(first, file.get()));  // one byte can always be put back
    // The forms of packet captures begin with a magic number, in which there is no such byte.
    if (first != '{') return std::make_unique<BusCapture>(path, file.release());
    return std::make_unique<srcwatch::RecordingReader>(std::make_unique<std::ifstream>(path, std::ios::binary));
}

void RequireNoFault(const std::string& path, const std::string& fault)
{
    if (fault == srcwatch::kNoRecording) throw Failure(path + kForeign);
    if (!fault.empty()) throw Failure(path + ", " + fault);
}

int CopyRecording(const std::string& from, const std::string& to, AksvHider& hider)
{
    const std::unique_ptr<srcwatch::EntrySource> source = OpenRecording(from);
    RecordingWriter writer(to, hider);
    while (std::optional<srcwatch::Entry> entry = source->Next()) writer.WriteTimed(std::move(entry->json));
    RequireNoFault(from, source->Fault());
    writer.Flush();
    return writer.Count();
}

}  // namespace ctl
