#include "tools/evmshow/Follower.h"

#include "tools/evmshow/Interruption.h"

#include <cerrno>
#include <utility>

namespace evmshow {

namespace {

/// How many older files are looked at for the one that was read: more than anybody keeps.
constexpr unsigned OLDER_FILES = 100;
/// Files may be renamed while their names are looked at; each such attempt is in vain.
constexpr int ATTEMPTS = 10;

bool isAt(const std::string& name, const struct stat& file) {
    struct stat there {};
    return stat(name.c_str(), &there) == 0 && there.st_dev == file.st_dev &&
           there.st_ino == file.st_ino;
}

bool exists(const std::string& name) {
    struct stat there {};
    return stat(name.c_str(), &there) == 0;
}

} // namespace

Follower::Follower(const std::string& path, Session& session, Output& out)
    : m_path(path), m_session(session), m_out(out), m_watch(path), m_file(path), m_report(path) {
    if (!m_file.isRegular()) throw ReadError(path, "only a regular file can be followed");
    m_watch.watchContent(m_file);
}

void Follower::run() {
    try {
        while (true) readAndWait();
    } catch (const Interrupted&) {
        m_report.close();
    }
}

void Follower::readAndWait() {
    readOn();
    if (restartIfTruncated()) return;
    if (auto next = successor()) {
        switchTo(std::move(*next));
        return;
    }
    // A region that is skipped may go on: it is told when a record follows it.
    m_out.flush();
    m_watch.wait();
}

/// Reads what is there. An incomplete record at the end is read again from its beginning: a writer
/// that failed half-way may have cut it off and written another.
void Follower::readOn() {
    m_feed.dropRest();
    while (m_file.readInto(m_feed)) {
        if (interruptionRequested()) throw Interrupted();
        m_session.take(m_feed, m_report);
    }
}

bool Follower::restartIfTruncated() {
    const auto size = static_cast<std::uint64_t>(m_file.status().st_size);
    if (size >= m_feed.toldUpTo()) return false;
    m_report.close();
    complain(m_path, "the file became shorter; it is read again from its beginning");
    m_session.noteLoss();
    m_feed = RecordFeed();
    return true;
}

std::optional<InputFile> Follower::successor() const {
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
        const auto name = successorName();
        if (!name) return std::nullopt;
        try {
            InputFile next(*name);
            if (successorName() == name) return next;
        } catch (const ReadError&) {
            if (errno != ENOENT) throw;
        }
    }
    return std::nullopt; // the names go on changing, and so will wake the next wait
}

/// The file begun after the one that is read; none as long as there is no newer one.
std::optional<std::string> Follower::successorName() const {
    const struct stat file = m_file.status();
    if (!exists(m_path) || isAt(m_path, file)) return std::nullopt;
    std::string name = m_path;
    for (unsigned number = 1; number <= OLDER_FILES; ++number) {
        const std::string older = m_path + "." + std::to_string(number);
        if (isAt(older, file)) return name;
        name = older;
    }
    return m_path; // removed, or moved elsewhere
}

void Follower::switchTo(InputFile next) {
    // Something may have been written between the last look and the renaming.
    readOn();
    m_feed.finish();
    m_session.take(m_feed, m_report);
    m_report.close();
    m_file = std::move(next);
    m_feed = RecordFeed();
    m_watch.watchContent(m_file);
}

} // namespace evmshow
