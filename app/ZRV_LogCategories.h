#pragma once

#include <QLoggingCategory>

// The console's three named categories. Each is made on first use; the
// names are padded to six characters and keep their trailing blanks.
Q_DECLARE_LOGGING_CATEGORY(lcLogin) // "Login "
Q_DECLARE_LOGGING_CATEGORY(lcNCL)   // "NCL   "
Q_DECLARE_LOGGING_CATEGORY(lcSRV)   // "SRV   "
