#include "Platform/Print/NSPrintInfo.h"

#include "Platform/Foundation/Value.h"
#include "Platform/Print/PaperSize.h"

const NSPrintInfo& NSPrintInfo::sharedPrintInfo()
{
    static const NSPrintInfo shared = [] {
        NSPrintInfo info;
        info.setPaperSize(usualPaperSize());
        return info;
    }();
    return shared;
}

NSPrintInfo::NSPrintInfo() = default;

NSPrintInfo::NSPrintInfo(const NSDictionary& dictionary)
{
    _settings.addEntriesFromDictionary(dictionary);
}

NSSize NSPrintInfo::paperSize() const
{
    const NSSize size = NSSizeFromString(_settings[NSPrintPaperSize].string());
    return size.width > 0 && size.height > 0 ? size : usualPaperSize();
}

double NSPrintInfo::number(const NSString& key, double usual) const
{
    const Value& value = _settings[key];
    return value.isNumber() ? value.doubleValue() : usual;
}

bool NSPrintInfo::flag(const NSString& key) const
{
    const Value& value = _settings[key];
    return value.isNumber() ? value.boolValue() : true;
}

NSPrintingPaginationMode NSPrintInfo::pagination(const NSString& key) const
{
    const int64_t mode = _settings[key].isNumber() ? _settings[key].integerValue() : 0;
    return mode == NSFitPagination || mode == NSClipPagination ? static_cast<NSPrintingPaginationMode>(mode) : NSAutoPagination;
}

NSString NSPrintInfo::jobDisposition() const
{
    const NSString disposition = _settings[NSPrintJobDisposition].string();
    return disposition ? disposition : NSPrintSpoolJob;
}

NSURL NSPrintInfo::jobSavingURL() const
{
    return _settings[NSPrintJobSavingURL].url();
}

void NSPrintInfo::setPaperSize(NSSize size)
{
    _settings.setObject(NSStringFromSize(size), NSPrintPaperSize);
}

void NSPrintInfo::setTopMargin(double margin)
{
    _settings.setObject(margin, NSPrintTopMargin);
}

void NSPrintInfo::setLeftMargin(double margin)
{
    _settings.setObject(margin, NSPrintLeftMargin);
}

void NSPrintInfo::setBottomMargin(double margin)
{
    _settings.setObject(margin, NSPrintBottomMargin);
}

void NSPrintInfo::setRightMargin(double margin)
{
    _settings.setObject(margin, NSPrintRightMargin);
}

void NSPrintInfo::setHorizontalPagination(NSPrintingPaginationMode mode)
{
    _settings.setObject(static_cast<int64_t>(mode), NSPrintHorizontalPagination);
}

void NSPrintInfo::setVerticalPagination(NSPrintingPaginationMode mode)
{
    _settings.setObject(static_cast<int64_t>(mode), NSPrintVerticalPagination);
}

void NSPrintInfo::setHorizontallyCentered(bool centered)
{
    _settings.setObject(centered, NSPrintHorizontallyCentered);
}

void NSPrintInfo::setVerticallyCentered(bool centered)
{
    _settings.setObject(centered, NSPrintVerticallyCentered);
}
