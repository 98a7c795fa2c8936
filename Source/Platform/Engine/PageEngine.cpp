#include "Platform/Foundation/NSString.h"
