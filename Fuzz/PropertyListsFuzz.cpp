// Property lists: what is read can be written, and what was written is read as the same.

#include "FuzzSupport.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    NSError error;
    NSPropertyListFormat format = {};
    const Value read = NSPropertyListSerialization::propertyListWithData(fuzz::dataOf(bytes, size), &format, &error);
    fuzz::require(read.isAbsent() != error.isAbsent(), "a failure has its error, and only a failure");
    if (!read)
        return 0;
    fuzz::require(format == NSPropertyListXMLFormat_v1_0 || format == NSPropertyListBinaryFormat_v1_0, "the format is told");
    if (const NSError defect = NSPropertyListSerialization::defectOfPropertyList(read)) {
        // Binary property lists hold any date, and those beyond the calendar are read but not written.
        const NSString reason = defect.userInfo().objectForKey(NSDebugDescriptionErrorKey).string();
        fuzz::require(
            reason.rangeOfString(u"a date outside the years").location != NSNotFound, "what is read is a property list");
        return 0;
    }
    for (const NSPropertyListFormat written : {NSPropertyListXMLFormat_v1_0, NSPropertyListBinaryFormat_v1_0}) {
        const NSData data = NSPropertyListSerialization::dataWithPropertyList(read, written, &error);
        fuzz::require(!data.isAbsent(), "what is read can be written");
        const Value again = NSPropertyListSerialization::propertyListWithData(data, nullptr, &error);
        fuzz::require(!again.isAbsent(), "what was written can be read");
        // XML rounds dates and replaces characters that it cannot hold, and a number that is none equals nothing; so the second
        // writing is compared, not the values.
        fuzz::require(
            NSPropertyListSerialization::dataWithPropertyList(again, written) == data, "what was read again is the same");
    }
    return 0;
}
