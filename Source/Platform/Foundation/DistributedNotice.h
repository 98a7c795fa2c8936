#pragma once

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"

struct _GDBusMessage;

// One notification on its way to other processes.
struct DistributedNotice {
    NSString name;
    NSString object;
    NSDictionary userInfo;

    // The signal that carries it, in the form that NSDistributedNotificationCenter describes. Owned by the
    // caller (g_object_unref).
    [[nodiscard]] _GDBusMessage* message() const;
};
