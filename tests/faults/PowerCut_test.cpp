// SPDX-License-Identifier: Apache-2.0
//
// The power fails at any moment of a row of saves. The writes of the saves are recorded once; what the disk may then
// hold is laid out many times and opened by the host platform.
#include "DiskImages.h"
#include "Documents.h"
#include "FileRecorder.h"
#include "HostTest.h"
#include "srcwatch-host.h"

#include <cstdio>
#include <filesystem>
#include <random>

#include <sys/mman.h>
#include <vconf.h>

namespace {

using namespace srcwatch_test;

constexpr int kSaves = 90;  // the log is moved into the database twice, and starts over
constexpr int kImages = 1500;
constexpr int kControlImages = 200;
constexpr int kImagesPerWrite = 10;  // a write to the disk takes longer than all the rest
constexpr int kNothing = 0;          // generation of an empty store
constexpr int kGarbled = -1;

// What a process found in an image.
struct Verdict {
    int generation;  // kGarbled: what is stored was never saved
    bool isSound;    // as far as SQLite finds
    bool goesOn;
};

struct Tally {
    int images = 0;
    int damaged = 0;    // the database is not sound, or what is stored was never saved
    int lost = 0;       // a save that had been confirmed is not there
    int stuck = 0;      // nothing can be saved any more
    std::string first;  // where something of this was seen first
};

class PowerCut : public HostTest {
protected:
    PowerCut()
        : m_verdict(static_cast<Verdict*>(
              mmap(nullptr, sizeof(Verdict), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
    {
        for (int generation = 1; generation <= kSaves + 1; ++generation) m_documents.push_back(DocumentOf(generation));
        RecordSaves();
    }
    ~PowerCut() override { munmap(m_verdict, sizeof(Verdict)); }

    // Cuts the power at that event: confirmed is the last generation whose save had returned then.
    void CutAt(const Disk& disk, std::size_t event, Tally& tally);

    std::vector<FileEvent> m_events;
    std::mt19937 m_random{20240607};

private:
    void RecordSaves();
    void LayOut(const DiskImage& image);
    Verdict Examine(bool tryToSave);
    int GenerationOf(const std::string& text) const;

    Verdict* m_verdict;
    std::vector<std::string> m_documents;

protected:
    int m_begun = 0;      // the last generation whose save has begun, and
    int m_confirmed = 0;  // that whose save has returned; at the present event
    void Follow(const FileEvent& event);
};

// A note of n begins save n, one of -n ends it.
void PowerCut::RecordSaves()
{
    FileRecording recording;
    ASSERT_TRUE(InProcess([this, &recording] {
        ASSERT_EQ(srcwatch_host_state_dir(), StateDir());
        recording.Begin(StateDir());
        for (int generation = 1; generation <= kSaves; ++generation) {
            recording.Note(generation);
            EXPECT_EQ(vconf_set_str(kActivityKey, m_documents[static_cast<std::size_t>(generation - 1)].c_str()), 0);
            recording.Note(-generation);
        }
    }));
    m_events = recording.Events();
}

void PowerCut::Follow(const FileEvent& event)
{
    if (event.kind != FileEvent::Kind::kNote) return;
    const int number = static_cast<int>(static_cast<std::int64_t>(event.offset));
    (number > 0 ? m_begun : m_confirmed) = std::abs(number);
}

void PowerCut::LayOut(const DiskImage& image)
{
    for (const std::string& path : {StateDir(), RunDir(), Path("log")}) std::filesystem::remove_all(path);
    std::filesystem::create_directory(StateDir());
    for (const auto& [name, content] : image) {
        const bool isIndex = name.size() > 4 && name.compare(name.size() - 4, 4, "-shm") == 0;
        if (!isIndex) WriteFile(StateDir() + "/" + name, content);
    }
    // Nothing keeps the index of the log; what is found in its place is anything.
    if (image.count("settings.db-wal") > 0 && (m_random() & 1U) != 0) {
        std::string garbage(32768, '\0');
        for (char& byte : garbage) byte = static_cast<char>(m_random());
        WriteFile(StateDir() + "/settings.db-shm", garbage);
    }
}

int PowerCut::GenerationOf(const std::string& text) const
{
    if (text == "(none)") return kNothing;
    for (std::size_t i = 0; i < m_documents.size(); ++i)
        if (text == m_documents[i]) return static_cast<int>(i) + 1;
    return kGarbled;
}

Verdict PowerCut::Examine(bool tryToSave)
{
    *m_verdict = {kGarbled, false, false};
    const bool hasEndedWell = bool(InProcess([this, tryToSave] {
        m_verdict->generation = GenerationOf(TextOf(kActivityKey));
        m_verdict->isSound =
            FilesIn(StateDir(), "damaged").empty() &&
            (!std::filesystem::exists(DurableDatabase()) || Sql(DurableDatabase(), "PRAGMA integrity_check") == "ok");
        m_verdict->goesOn = !tryToSave || (vconf_set_str(kActivityKey, m_documents.back().c_str()) == 0 &&
                                           TextOf(kActivityKey) == m_documents.back());
    }));
    if (!hasEndedWell) m_verdict->generation = kGarbled;
    return *m_verdict;
}

void PowerCut::CutAt(const Disk& disk, std::size_t event, Tally& tally)
{
    const Unsynced kind = kUnsyncedKinds[static_cast<std::size_t>(tally.images) % std::size(kUnsyncedKinds)];
    LayOut(disk.CutPower(kind, m_random));
    const Verdict verdict = Examine(tally.images % kImagesPerWrite == 0);
    const bool isDamaged = !verdict.isSound || verdict.generation == kGarbled || verdict.generation > m_begun;
    const bool isLost = !isDamaged && verdict.generation < m_confirmed;
    ++tally.images;
    tally.damaged += isDamaged ? 1 : 0;
    tally.lost += isLost ? 1 : 0;
    tally.stuck += verdict.goesOn ? 0 : 1;
    if (tally.first.empty() && (isDamaged || isLost || !verdict.goesOn)) {
        tally.first = "event " + std::to_string(event) + ", kind " + std::to_string(static_cast<int>(kind)) +
                      ": generation " + std::to_string(verdict.generation) + " after " + std::to_string(m_confirmed) +
                      (verdict.isSound ? ", sound" : ", not sound");
    }
}

void Print(const char* what, std::size_t events, const Tally& tally)
{
    std::printf("%s: %zu events, %d images, %d damaged, %d lost a confirmed save\n", what, events, tally.images,
                tally.damaged, tally.lost);
}

TEST_F(PowerCut, AtAnyMomentLeavesTheLastSaveOrTheOneInProgress)
{
    Disk disk(true);
    Tally tally;
    for (std::size_t i = 0; i < m_events.size(); ++i) {
        Follow(m_events[i]);
        disk.Apply(m_events[i]);
        const std::size_t due = (i + 1) * kImages / m_events.size();
        while (static_cast<std::size_t>(tally.images) < due) CutAt(disk, i, tally);
    }
    Print("power cuts", m_events.size(), tally);

    EXPECT_EQ(m_confirmed, kSaves);
    EXPECT_GE(tally.images, 1000);
    EXPECT_EQ(tally.damaged, 0) << tally.first;
    EXPECT_EQ(tally.lost, 0) << tally.first;
    EXPECT_EQ(tally.stuck, 0) << tally.first;
}

// The tester tested. The disk is idle now and then, so that all that was written until then is there.
TEST_F(PowerCut, IsFoundToDamageTheStoreWhenNothingIsSynchronised)
{
    Disk disk(false);
    Tally tally;
    const std::size_t idle = m_events.size() / 5;
    for (std::size_t i = 0; i < m_events.size(); ++i) {
        Follow(m_events[i]);
        disk.Apply(m_events[i]);
        if (i % idle == 0) disk.Settle();
        const std::size_t due = (i + 1) * kControlImages / m_events.size();
        while (static_cast<std::size_t>(tally.images) < due) CutAt(disk, i, tally);
    }
    Print("power cuts without synchronising", m_events.size(), tally);

    EXPECT_GT(tally.damaged, 0);
    EXPECT_GT(tally.lost, 0);
}

}  // namespace
