#include "Platform/Engine/PageEngineFactory.h"
#include "Platform/Foundation/NSProcessInfo.h"
#include "Tools/webtool.h"

int main()
{
    return runWebTool(NSProcessInfo::processInfo().arguments(), makePageEngine);
}
