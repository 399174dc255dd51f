#pragma once

#include "SimService.h"

#include <QByteArray>

// The main service's running-meeting side under "<service-base>/zrv/svc": live records,
// commands, logs, status, versions with the console installer, temporary storage keys.
class SimMainService : public SimService
{
public:
    using SimService::SimService;
    // False with *error when --console-update-file cannot be read.
    bool prepare(QString *error);
    void registerRoutes(SimRoutes &routes);

    static QString source();

private:
    void meetings(const httplib::Request &req, httplib::Response &res);
    void status(const httplib::Request &req, httplib::Response &res);
    void versions(const httplib::Request &req, httplib::Response &res);
    void update(const httplib::Request &req, httplib::Response &res);
    void download(const httplib::Request &req, httplib::Response &res);
    void info(const httplib::Request &req, httplib::Response &res);
    void infoUpdate(const httplib::Request &req, httplib::Response &res);
    void command(const httplib::Request &req, httplib::Response &res);
    void meetingLog(const httplib::Request &req, httplib::Response &res);
    void serviceLog(const httplib::Request &req, httplib::Response &res);
    void s3Token(const httplib::Request &req, httplib::Response &res);

    // Lines a log route asks for (100 by default); on a refused token or a bad count
    // writes the reply and returns -1.
    int authorisedLogCount(const httplib::Request &req, httplib::Response &res);

    QString m_installerName;
    QByteArray m_installer;
};
