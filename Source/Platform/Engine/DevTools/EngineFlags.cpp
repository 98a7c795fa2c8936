#include "Platform/Engine/DevTools/EngineFlags.h"

#include "Platform/Foundation/NSURLCache.h"

std::vector<std::string> engineFlags(NSSize viewSize, bool withoutSandbox, bool withoutNetwork)
{
    std::vector<std::string> flags = {
        "--headless",
        "--disable-gpu",
        "--hide-scrollbars",
        "--mute-audio",
        "--window-size=" + std::to_string(static_cast<int>(viewSize.width)) + ","
            + std::to_string(static_cast<int>(viewSize.height)),
        // Every image is loaded, wherever it stands.
        "--blink-settings=lazyLoadEnabled=false",
        // Nothing that the page did not ask for goes over the network.
        "--disable-background-networking",
        "--disable-component-update",
        "--disable-sync",
        "--disable-default-apps",
        "--disable-extensions",
        "--disable-client-side-phishing-detection",
        "--disable-domain-reliability",
        "--no-pings",
        "--no-first-run",
        "--no-default-browser-check",
        "--disable-breakpad",
        "--disable-crash-reporter",
        "--password-store=basic",
        "--deny-permission-prompts",
        // New windows are refused before they are made. Engines that do not know this flag have theirs
        // closed (see Interruptions).
        "--block-new-web-contents",
        // A page in an unseen window keeps its timers and its speed.
        "--disable-renderer-backgrounding",
        "--disable-backgrounding-occluded-windows",
        "--disable-background-timer-throttling",
        // Fewer processes for the same work: the services run inside the engine's main process; pages keep
        // theirs, and its sandbox.
        "--in-process-gpu",
        "--enable-features=NetworkServiceInProcess2",
        // Going back is a load like any other, and is asked about.
        "--disable-features=BackForwardCache,Translate,OptimizationHints,MediaRouter,DialMediaRouteProvider,"
        "AutofillServerCommunication",
    };
    // Cookies and cache are kept in memory: faster by a third on a page of many resources, and nothing is written to the disk.
    if (NSURLCache::sharedURLCache().diskCapacity() == 0)
        flags.emplace_back("--incognito");
    if (withoutSandbox) {
        flags.emplace_back("--no-sandbox");
        // The process that others are forked from serves the sandbox; without that, it only costs.
        flags.emplace_back("--no-zygote");
    }
    if (withoutNetwork) {
        // No name and no number leads to an address, for nothing that the engine connects to: pages, sockets, connections made
        // ahead. Calls between browsers, which go by numbers of their own, would need a proxy, and there is none.
        flags.emplace_back("--host-resolver-rules=MAP * ~NOTFOUND");
        flags.emplace_back("--no-proxy-server");
        flags.emplace_back("--force-webrtc-ip-handling-policy=disable_non_proxied_udp");
    }
    // Started with a page, the engine has one ready when it answers for the first time.
    flags.emplace_back("about:blank");
    return flags;
}
