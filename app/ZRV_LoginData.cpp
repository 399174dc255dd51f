#include "ZRV_LoginData.h"

void ZRV_LoginData::clearLoginData()
{
    id.clear();
    accessToken.clear();
    refreshToken.clear();
    userId.clear();
    company.clear();
    firstName.clear();
    lastName.clear();
    email.clear();
    phone.clear();
    roles.clear();
    authenticated = false;
    loginComplete = 0;
    storageMode = -1;
    storageUser.clear();
    storagePass.clear();
    storageFolder.clear();
    storageAddress.clear();
    storageBucket.clear();
}

void clearLoginData(ZRV_LoginData &data)
{
    data.clearLoginData();
}
