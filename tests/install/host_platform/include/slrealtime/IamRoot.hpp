#pragma once

namespace slrealtime {

class IamRoot
{
public:
    IamRoot();
    ~IamRoot();
    static int scopes;
};

}  // namespace slrealtime
