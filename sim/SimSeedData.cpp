#include "SimSeedData.h"

#include <QCryptographicHash>
#include <QDate>
#include <QJsonArray>

namespace {

const QString company = QStringLiteral("Brenvik Demo");

QJsonObject vector3(double x, double y, double z)
{
    return QJsonObject{{QStringLiteral("x"), x}, {QStringLiteral("y"), y}, {QStringLiteral("z"), z}};
}

QJsonObject spawnPoint(int id, const QString &meetingId, const QString &name, const QJsonObject &pos, const QJsonObject &rot)
{
    return QJsonObject{{QStringLiteral("Id"), id}, {QStringLiteral("MeetingId"), meetingId},
                       {QStringLiteral("Name"), name}, {QStringLiteral("Position"), pos},
                       {QStringLiteral("Rotation"), rot}};
}

} // namespace

SimSeedData::SimSeedData(const SimOptions &options)
    : m_options(options)
{
}

QString SimSeedData::passwordHash(const QString &password)
{
    return QString::fromLatin1(QCryptographicHash::hash(password.toUtf8(), QCryptographicHash::Sha512).toBase64());
}

QString SimSeedData::assumedRoleId(const QString &accountId, const QString &login)
{
    QString digits = accountId;
    digits.remove(QLatin1Char('-'));
    return QStringLiteral("AROAZRVSIM") + digits.right(11).toUpper() + QLatin1Char(':') + login;
}

QJsonObject SimSeedData::account(const QString &id, const QString &login, const QString &password,
                                 const QString &first, const QString &last, const QStringList &roles) const
{
    return QJsonObject{
        {QStringLiteral("id"), id},
        {QStringLiteral("userId"), login},
        {QStringLiteral("password"), password},
        {QStringLiteral("company"), company},
        {QStringLiteral("firstName"), first},
        {QStringLiteral("lastName"), last},
        {QStringLiteral("email"), QStringLiteral("%1@brenvik-demo.example").arg(login)},
        {QStringLiteral("phone"), QStringLiteral("+47 555 0%1").arg(qHash(login) % 1000, 3, 10, QLatin1Char('0'))},
        {QStringLiteral("status"), QStringLiteral("active")},
        {QStringLiteral("roles"), QJsonArray::fromStringList(roles)},
        {QStringLiteral("created"), QDate(2025, 3, 1).toString(Qt::ISODate)},
        {QStringLiteral("licence"), QJsonObject{{QStringLiteral("StorageSize"), -1},
                                                {QStringLiteral("TrialDays"), 0},
                                                {QStringLiteral("CountEndlessMeetings"), 2}}},
    };
}

QJsonObject SimSeedData::minioStorage(const QString &folder, bool fixedCredentials) const
{
    // Without fixed credentials the console takes the road of temporary keys.
    return QJsonObject{
        {QStringLiteral("group"), QStringLiteral("S3_Config_Minio")},
        {QStringLiteral("Modus"), QStringLiteral("MINIO")},
        {QStringLiteral("User"), fixedCredentials ? m_options.s3AccessKey : QString()},
        {QStringLiteral("Pass"), fixedCredentials ? m_options.s3SecretKey : QString()},
        {QStringLiteral("Folder"), folder},
        {QStringLiteral("Address"), m_options.s3Endpoint},
        {QStringLiteral("Bucket"), m_options.s3Bucket},
    };
}

QJsonObject SimSeedData::storageFor(const QString &login) const
{
    if (login == QLatin1String("cloud")) {
        return QJsonObject{
            {QStringLiteral("group"), QStringLiteral("S3_Config_NextCloud")},
            {QStringLiteral("Modus"), QStringLiteral("NextCloud")},
            {QStringLiteral("User"), QStringLiteral("cloud")},
            {QStringLiteral("Pass"), QStringLiteral("cloud123")},
            {QStringLiteral("Folder"), QString()},
            {QStringLiteral("Address"), m_options.webdavUrl},
            {QStringLiteral("Bucket"), QString()},
        };
    }
    if (login == QLatin1String("amazon")) {
        // Amazon S3 always goes through temporary keys.
        QJsonObject s = minioStorage(login, false);
        s.insert(QStringLiteral("group"), QStringLiteral("S3_Config_AWS"));
        s.insert(QStringLiteral("Modus"), QStringLiteral("S3"));
        s.insert(QStringLiteral("Bucket"), amazonBucket());
        return s;
    }
    if (login == QLatin1String("nomode")) {
        // A storage group whose mode the console does not know.
        return QJsonObject{
            {QStringLiteral("group"), QStringLiteral("S3_Config_FTP")},
            {QStringLiteral("Modus"), QStringLiteral("FTP")},
            {QStringLiteral("User"), login},
            {QStringLiteral("Pass"), QStringLiteral("nomode123")},
            {QStringLiteral("Folder"), login},
            {QStringLiteral("Address"), QStringLiteral("ftp://127.0.0.1:2121")},
            {QStringLiteral("Bucket"), QString()},
        };
    }
    if (login == QLatin1String("nostorage"))
        return QJsonObject();
    return minioStorage(login, login != QLatin1String("groupadmin"));
}

SimState SimSeedData::build() const
{
    SimState s;
    const QString presenter = QStringLiteral("ZRV_Presenter");
    struct Seed { const char *id; const char *login; const char *password; const char *first; const char *last; QStringList roles; };
    const QList<Seed> seeds = {
        {"8d1f0c52-0a6e-4c1b-9a51-000000000001", "admin", "admin123", "Astrid", "Admin", {presenter, QStringLiteral("ZRV_Administrator")}},
        {"8d1f0c52-0a6e-4c1b-9a51-000000000002", "groupadmin", "group123", "Gunnar", "Groupadmin", {presenter, QStringLiteral("ZRV_Group_Administrator")}},
        {"8d1f0c52-0a6e-4c1b-9a51-000000000003", "presenter", "presenter123", "Petra", "Presenter", {presenter}},
        {"8d1f0c52-0a6e-4c1b-9a51-000000000004", "visitor", "visitor123", "Viktor", "Visitor", {QStringLiteral("ZRV_User")}},
        {"8d1f0c52-0a6e-4c1b-9a51-000000000005", "inactive", "inactive123", "Ingrid", "Inactive", {presenter}},
        {"8d1f0c52-0a6e-4c1b-9a51-000000000006", "cloud", "cloud123", "Claus", "Cloud", {presenter}},
        {"8d1f0c52-0a6e-4c1b-9a51-000000000007", "nostorage", "nostorage123", "Nora", "Nostorage", {presenter}},
        {"8d1f0c52-0a6e-4c1b-9a51-000000000008", "amazon", "amazon123", "Anja", "Amazon", {presenter}},
        {"8d1f0c52-0a6e-4c1b-9a51-000000000009", "nomode", "nomode123", "Noah", "Nomode", {presenter}},
        {"8d1f0c52-0a6e-4c1b-9a51-000000000010", "small", "small123", "Siri", "Small", {presenter}},
        {"8d1f0c52-0a6e-4c1b-9a51-000000000011", "trial", "trial123", "Tore", "Trial", {presenter}},
    };
    for (const Seed &seed : seeds) {
        QJsonObject a = account(QLatin1String(seed.id), QLatin1String(seed.login), QLatin1String(seed.password),
                                QLatin1String(seed.first), QLatin1String(seed.last), seed.roles);
        const QString login = QLatin1String(seed.login);
        const QJsonObject storage = storageFor(login);
        if (!storage.isEmpty())
            a.insert(QStringLiteral("storage"), storage);
        if (login == QLatin1String("inactive"))
            a.insert(QStringLiteral("status"), QStringLiteral("inactive"));
        if (login == QLatin1String("presenter"))
            a.insert(QStringLiteral("licence"), QJsonObject{{QStringLiteral("StorageSize"), 1024},
                                                            {QStringLiteral("TrialDays"), 0},
                                                            {QStringLiteral("CountEndlessMeetings"), 1}});
        if (login == QLatin1String("small"))
            a.insert(QStringLiteral("licence"), QJsonObject{{QStringLiteral("StorageSize"), 5},
                                                            {QStringLiteral("TrialDays"), 0},
                                                            {QStringLiteral("CountEndlessMeetings"), 2}});
        if (login == QLatin1String("trial")) {
            // Four days into a fourteen-day trial: ten days left.
            a.insert(QStringLiteral("created"), QDate::currentDate().addDays(-4).toString(Qt::ISODate));
            a.insert(QStringLiteral("licence"), QJsonObject{{QStringLiteral("StorageSize"), -1},
                                                            {QStringLiteral("TrialDays"), 14},
                                                            {QStringLiteral("CountEndlessMeetings"), 2}});
        }
        s.accounts.insert(a.value(QStringLiteral("id")).toString(), a);
    }
    s.logService(QStringLiteral("Zarvo service %1 starting").arg(m_options.serviceVersion));
    s.logService(QStringLiteral("Connected to object store %1, bucket %2").arg(m_options.s3Endpoint, m_options.s3Bucket));
    s.logService(QStringLiteral("Mirror pool ready: 4 servers"));
    addMeetings(s);
    addBanlistAndBundles(s);
    return s;
}

void SimSeedData::addMeetings(SimState &s) const
{
    struct Seed { const char *meetingId; const char *title; const char *login; bool active; const char *license; const char *password; int audio; int audio3D; int chat; };
    const QList<Seed> seeds = {
        {"wdr7k2m4", "Weekly Design Review", "presenter", true, "default", "", 1, 10, 1},
        {"brd9q3x1", "Board Meeting", "admin", true, "endless", "", 2, 0, 0},
        {"prl5t8c6", "Product Launch Rehearsal", "presenter", false, "default", "", 1, 0, 1},
        {"onb3v6p2", "Onboarding Session", "groupadmin", false, "default", "welcome", 1, 10, 1},
        {"shw4n1r8", "Customer Showroom", "cloud", false, "endless", "", 0, 0, 0},
    };
    for (const Seed &seed : seeds) {
        const QString accountId = s.accountIdByLogin(QLatin1String(seed.login));
        const QJsonObject owner = s.accounts.value(accountId);
        const qint64 id = s.nextMeetingId++;
        const QString meetingId = QLatin1String(seed.meetingId);
        QJsonObject m{
            {QStringLiteral("id"), double(id)},
            {QStringLiteral("meetingId"), meetingId},
            {QStringLiteral("title"), QLatin1String(seed.title)},
            {QStringLiteral("password"), *seed.password ? passwordHash(QLatin1String(seed.password)) : QString()},
            {QStringLiteral("description"), QStringLiteral("%1 of %2").arg(QLatin1String(seed.title), company)},
            {QStringLiteral("creatorId"), accountId},
            {QStringLiteral("creator"), QLatin1String(seed.login)},
            {QStringLiteral("created"), QDate::currentDate().addDays(-14).toString(Qt::ISODate)},
            {QStringLiteral("modified"), QDate::currentDate().addDays(-2).toString(Qt::ISODate)},
            {QStringLiteral("license"), QLatin1String(seed.license)},
            {QStringLiteral("status"), QStringLiteral("pending")},
            {QStringLiteral("audioMode"), seed.audio},
            {QStringLiteral("audioMode3D"), seed.audio3D},
            {QStringLiteral("chatMode"), seed.chat},
            {QStringLiteral("presenter"), QJsonObject{
                {QStringLiteral("name"), owner.value(QStringLiteral("firstName")).toString() + QLatin1Char(' ') + owner.value(QStringLiteral("lastName")).toString()},
                {QStringLiteral("email"), owner.value(QStringLiteral("email")).toString()}}},
        };
        s.meetings.insert(id, m);
        QJsonObject &info = s.liveFor(m);
        info.insert(QStringLiteral("spawnPoints"), QJsonArray{
            spawnPoint(0, meetingId, QStringLiteral("Start"), vector3(0, 0, 0), vector3(0, 0, 0)),
            spawnPoint(1, meetingId, QStringLiteral("Position 1"), vector3(4.5, 0, -2), vector3(0, 90, 0))});
        info.insert(QStringLiteral("assets"), QJsonArray{
            QJsonObject{{QStringLiteral("Id"), 1}, {QStringLiteral("MeetingId"), meetingId},
                        {QStringLiteral("Name"), QStringLiteral("stage.fbx")}, {QStringLiteral("Mode"), 1},
                        {QStringLiteral("StgHost"), m_options.s3Endpoint}, {QStringLiteral("StgBucket"), m_options.s3Bucket},
                        {QStringLiteral("StgRelPath"), QStringLiteral("%1/models/stage.fbx").arg(QLatin1String(seed.login))},
                        {QStringLiteral("StgSize"), 482133},
                        {QStringLiteral("Position"), vector3(0, 0, 0)}, {QStringLiteral("Rotation"), vector3(0, 0, 0)},
                        {QStringLiteral("Scale"), vector3(1, 1, 1)}},
            QJsonObject{{QStringLiteral("Id"), 22001}, {QStringLiteral("MeetingId"), meetingId},
                        {QStringLiteral("Name"), QStringLiteral("Agenda")}, {QStringLiteral("Mode"), 3},
                        {QStringLiteral("StgRelPath"), QStringLiteral("https://www.brenvik-demo.example/agenda")},
                        {QStringLiteral("StgPreSgnPath"), QStringLiteral("https://www.brenvik-demo.example/agenda")},
                        {QStringLiteral("StgSize"), 0}}});
        s.logMeeting(meetingId, QStringLiteral("Meeting %1 registered (%2)").arg(meetingId, QLatin1String(seed.title)));
        if (seed.active) {
            s.startMeeting(id, m_options.meetingMinutes);
            s.addMember(meetingId, owner.value(QStringLiteral("firstName")).toString() + QLatin1Char(' ') + owner.value(QStringLiteral("lastName")).toString(),
                        QStringLiteral("Presenter"));
            s.addMember(meetingId, QStringLiteral("Guest Aino"), QStringLiteral("User"));
            s.addMember(meetingId, QStringLiteral("Guest Bjarne"), QStringLiteral("User"));
        }
    }
}

void SimSeedData::addBanlistAndBundles(SimState &s) const
{
    const QList<QJsonObject> bans = {
        {{QStringLiteral("Mode"), 0}, {QStringLiteral("Filename"), QStringLiteral("cracked_tool.fbx")},
         {QStringLiteral("Checksum"), QStringLiteral("9e107d9d372bb6826bd81d3542a419d6")}},
        {{QStringLiteral("Mode"), 3}, {QStringLiteral("Filename"), QStringLiteral("Spam pages")},
         {QStringLiteral("Checksum"), QStringLiteral("https://*.spam.example/*")}},
        {{QStringLiteral("Mode"), 1}, {QStringLiteral("Filename"), QStringLiteral("old_logo.png")},
         {QStringLiteral("Checksum"), QStringLiteral("e4d909c290d0fb1ca068ffaddf22cbd0")}},
    };
    for (QJsonObject b : bans) {
        const int id = s.nextBanId++;
        b.insert(QStringLiteral("Id"), id);
        s.banlist.insert(id, b);
    }
    const QString presenterId = s.accountIdByLogin(QStringLiteral("presenter"));
    struct Seed { const char *name; QString userId; QString userName; const char *folder; };
    const QList<Seed> seeds = {
        {"Zarvo Lobby", QString(), QString(), "global"},
        {"Presenter Stage", presenterId, QStringLiteral("presenter"), "presenter"},
    };
    const QStringList suffixes = {QStringLiteral(".win.asb"), QStringLiteral(".ios.asb"), QStringLiteral(".android.asb"), QStringLiteral(".web.asb")};
    for (const Seed &seed : seeds) {
        const QString id = QStringLiteral("ab-%1").arg(s.nextBundleId++, 4, 10, QLatin1Char('0'));
        const QString stem = QStringLiteral("%1/__ASSETBUNDLES/%2").arg(QLatin1String(seed.folder), QLatin1String(seed.name));
        QJsonArray sizes, paths, sums;
        for (int i = 0; i < suffixes.size(); ++i) {
            sizes << double(1048576 * (i + 2));
            paths << QStringLiteral("%1/%2/%3%4").arg(m_options.s3Endpoint, m_options.s3Bucket, stem, suffixes.at(i));
            sums << QString::fromLatin1(QCryptographicHash::hash((stem + suffixes.at(i)).toUtf8(), QCryptographicHash::Md5).toHex());
        }
        s.bundles.insert(id, QJsonObject{{QStringLiteral("Id"), id}, {QStringLiteral("UserId"), seed.userId},
                                         {QStringLiteral("UserName"), seed.userName}, {QStringLiteral("Name"), QLatin1String(seed.name)},
                                         {QStringLiteral("Mode"), 1}, {QStringLiteral("StgRelPath"), stem},
                                         {QStringLiteral("StgSize"), sizes}, {QStringLiteral("StgPreSgnPath"), paths},
                                         {QStringLiteral("StgChecksums"), sums}});
    }
    // The board meeting shows the global bundle.
    const QString boardKey = QStringLiteral("brd9q3x1");
    if (s.live.contains(boardKey))
        s.live[boardKey].insert(QStringLiteral("assetBundles"), QJsonArray{s.bundles.first()});
}
