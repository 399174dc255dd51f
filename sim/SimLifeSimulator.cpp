#include "SimLifeSimulator.h"

#include <QDateTime>
#include <QJsonArray>

#include <chrono>

namespace {

const QStringList aliases = {
    QStringLiteral("Guest Aino"), QStringLiteral("Guest Bjarne"), QStringLiteral("Guest Cecilie"),
    QStringLiteral("Guest Dag"), QStringLiteral("Guest Elin"), QStringLiteral("Guest Frode"),
    QStringLiteral("Guest Greta"), QStringLiteral("Guest Halvard"), QStringLiteral("Guest Ida"),
};
constexpr int maxMembers = 8;

} // namespace

SimLifeSimulator::SimLifeSimulator(const SimOptions &options, SimStateStore &store)
    : m_options(options)
    , m_store(store)
    , m_random(20261123u)
{
}

SimLifeSimulator::~SimLifeSimulator()
{
    stop();
}

void SimLifeSimulator::start()
{
    if (!m_options.simulateLife || m_thread.joinable())
        return;
    m_thread = std::thread(&SimLifeSimulator::run, this);
}

void SimLifeSimulator::stop()
{
    {
        std::lock_guard<std::mutex> lock(m_wakeMutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

void SimLifeSimulator::run()
{
    std::unique_lock<std::mutex> lock(m_wakeMutex);
    while (!m_stopping) {
        if (m_wake.wait_for(lock, std::chrono::milliseconds(m_options.lifeIntervalMs), [this] { return m_stopping; }))
            break;
        lock.unlock();
        step();
        lock.lock();
    }
}

double SimLifeSimulator::chance()
{
    std::lock_guard<std::mutex> lock(m_randomMutex);
    return std::uniform_real_distribution<double>(0.0, 1.0)(m_random);
}

void SimLifeSimulator::step()
{
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimState &s = m_store.state();
    ++s.lifeSteps;
    const QList<qint64> keys = s.meetings.keys();
    for (qint64 key : keys) {
        if (s.isActive(key))
            stepMeeting(s, key);
    }
}

void SimLifeSimulator::stepMeeting(SimState &s, qint64 key)
{
    const QJsonObject meeting = s.meetings.value(key);
    const QString meetingId = meeting.value(QStringLiteral("meetingId")).toString();
    QJsonObject &info = s.liveFor(meeting);
    const QString ending = info.value(QStringLiteral("endingTime")).toString();
    if (!ending.isEmpty()) {
        const QDateTime end = QDateTime::fromString(ending, Qt::TextDate);
        if (end.isValid() && end <= QDateTime::currentDateTimeUtc()) {
            s.stopMeeting(key, QStringLiteral("end time reached"));
            return;
        }
    }
    QJsonArray clients = info.value(QStringLiteral("clients")).toArray();
    // Talking comes and goes; a muted member never talks.
    for (int i = 0; i < clients.size(); ++i) {
        QJsonObject m = clients.at(i).toObject();
        const bool talking = m.value(QStringLiteral("voiceEnabled")).toBool() && chance() < 0.35;
        m.insert(QStringLiteral("voiceIsTalking"), talking);
        clients.replace(i, m);
    }
    if (clients.size() > 1 && chance() < 0.15) {
        const int index = 1 + int(chance() * (clients.size() - 1)) % (clients.size() - 1);
        const QJsonObject gone = clients.at(index).toObject();
        clients.removeAt(index);
        s.logMeeting(meetingId, QStringLiteral("Player %1 (%2) left").arg(gone.value(QStringLiteral("Id")).toInt())
                                    .arg(gone.value(QStringLiteral("Alias")).toString()));
    }
    if (clients.size() > 1 && chance() < 0.05) {
        const int index = int(chance() * clients.size()) % clients.size();
        QJsonObject m = clients.at(index).toObject();
        const bool presenter = m.value(QStringLiteral("currentRole")).toString() == QLatin1String("Presenter");
        m.insert(QStringLiteral("currentRole"), presenter ? QStringLiteral("User") : QStringLiteral("Presenter"));
        clients.replace(index, m);
        s.logMeeting(meetingId, QStringLiteral("Player %1 is now %2").arg(m.value(QStringLiteral("Id")).toInt())
                                    .arg(m.value(QStringLiteral("currentRole")).toString()));
    }
    info.insert(QStringLiteral("clients"), clients);
    if (clients.size() < 2 || (clients.size() < maxMembers && chance() < 0.3)) {
        QStringList free = aliases;
        for (const QString &taken : s.aliases(meetingId))
            free.removeAll(taken);
        const QStringList &pool = free.isEmpty() ? aliases : free;
        const QString alias = pool.at(int(chance() * pool.size()) % pool.size());
        s.addMember(meetingId, alias, clients.isEmpty() ? QStringLiteral("Presenter") : QStringLiteral("User"));
    }
}
