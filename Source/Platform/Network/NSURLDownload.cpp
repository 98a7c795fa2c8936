#include "Platform/Network/NSURLDownload.h"
struct NSURLDownload::Transfer {};
NSURLDownload::NSURLDownload(const NSURLRequest&, NSURLDownloadDelegate*) {}
NSURLDownload::~NSURLDownload() = default;
void NSURLDownload::setDestination(const NSString&, bool) {}
