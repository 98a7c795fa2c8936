// Typed streams: an archive that is read can be written, and that one is read as the same.

#include "FuzzSupport.h"
#include "Platform/Foundation/NSArchiver.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSUnarchiver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    NSError error;
    const Value read = NSUnarchiver::unarchiveObjectWithData(fuzz::dataOf(bytes, size), &error);
    fuzz::require(!read || error.isAbsent(), "a value comes without an error");
    if (!read)
        return 0;
    fuzz::require(read.conformsToCoding(), "what is read can be archived");
    const NSData archive = NSArchiver::archivedDataWithRootObject(read);
    const Value again = NSUnarchiver::unarchiveObjectWithData(archive, &error);
    fuzz::require(!again.isAbsent(), "what was archived can be read");
    // A number that is none equals nothing, so the second archive is compared, not the values.
    fuzz::require(NSArchiver::archivedDataWithRootObject(again) == archive, "what was read again is the same");
    return 0;
}
