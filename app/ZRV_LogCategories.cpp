#include "ZRV_LogCategories.h"

Q_LOGGING_CATEGORY(lcLogin, "Login ")
Q_LOGGING_CATEGORY(lcNCL, "NCL   ")
Q_LOGGING_CATEGORY(lcSRV, "SRV   ")
