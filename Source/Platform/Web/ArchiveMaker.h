#pragma once

#include "Platform/Web/DocumentLoad.h"
#include "Platform/Web/WebArchive.h"
#include "Platform/Web/WebPage.h"
#include "Platform/Web/WebResource.h"

#include <vector>

// Makes Web archives, and the resources for them, of what a page has loaded. Every operation may ask the engine, and throws
// NSException when it cannot answer.

// The frame with all below it: the documents as they stand.
[[nodiscard]] WebArchive archiveOfDocuments(WebPage& page, const FrameID& top);
// The frame with all below it: what the servers sent. A document in an attribute of its frame (srcdoc), which no server sent, is
// taken as it stands when the engine can tell it.
[[nodiscard]] WebArchive archiveOfDataSources(WebPage& page, const FrameID& top);

// A document as its server sent it; see WebDataSource::mainResource.
[[nodiscard]] WebResource mainResourceOf(WebPage& page, DocumentLoad& load);
// What a document uses; see WebDataSource::subresources.
[[nodiscard]] std::vector<WebResource> subresourcesOf(WebPage& page, const DocumentLoad& load);
