// Result records: the tests' reader refuses what is none in order, and reads every record that the tool can write.

#include "FuzzSupport.h"
#include "Platform/Foundation/Value.h"
#include "Support/ResultRecord.h"
#include "Tools/ResultRecord.h"

#include <stdexcept>

namespace {

void readAnything(std::string_view bytes)
{
    try {
        const support::ResultRecord record = support::readRecord(bytes);
        fuzz::require(record.succeeded.has_value(), "a record tells how it went");
    } catch (const std::runtime_error&) {
        // It is no record, and the reader says so.
    }
}

// The lines of the text are the title, the address, the path and the error's words.
void readOwnRecord(const NSString& text)
{
    const NSArray lines = text.componentsSeparatedByString(u"\n");
    const auto line = [&](size_t index) { return index < lines.count() ? lines[index].string() : NSString(); };
    const NSError error = line(3) ? NSError(WebToolErrorDomain, 1, {{NSLocalizedDescriptionKey, line(3)}}) : NSError();
    NSDictionary written{{u"succeeded", error.isAbsent()}};
    if (error) {
        written.setObject(archiveError(error), u"errorData");
        written.setObject(error.localizedDescription(), u"errorString");
    }
    written.setObject(line(0), u"title");
    if (line(1))
        written.setObject(line(1), u"url");
    if (line(2))
        written.setObject(line(2), u"path");
    try {
        const support::ResultRecord record = support::readRecord(dataFromPropertyList(written).characters());
        fuzz::require(record.hasSucceeded() == error.isAbsent(), "a record tells whether there was an error");
        fuzz::require(
            record.title && record.url.has_value() == !line(1).isAbsent() && record.path.has_value() == !line(2).isAbsent(),
            "a record has what was put into it");
        fuzz::require(
            !error || record.errorData == std::string(archiveError(error).characters()), "an error comes back as it was");
    } catch (const std::runtime_error& failure) {
        fuzz::require(false, failure.what());
    }
}

}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    readAnything({reinterpret_cast<const char*>(bytes), size});
    readOwnRecord(fuzz::textOf(bytes, size));
    return 0;
}
