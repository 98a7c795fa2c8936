#pragma once

#include "Platform/Web/WebArchive.h"
#include "Tools/Loader.h"
#include "Tools/Replay/ReplayDelegate.h"

// Shows one archive in an offscreen view, and waits for it as for a page that is captured.
class ReplayLoader final : public Loader {
public:
    // `delegate` is borrowed for as long as this lives.
    ReplayLoader(const PageEngineMaker& makeEngine, ReplayDelegate& delegate);

    // Returns when the page is there, after a minute at the latest, or when it is known why it is not there: see error(), which
    // is absent when the page was shown.
    void showArchive(const WebArchive& archive);
    // The page on paper, as the capture prints it, with the same settings; absent when it cannot be printed. The view
    // keeps the paper's width.
    [[nodiscard]] NSData PDF();
    // The whole page as a PNG. Throws NSException when the engine cannot answer.
    [[nodiscard]] NSData picture() { return _view->picture(); }
    // The main frame's markup as it stands; absent when it shows none. Throws NSException when the engine cannot answer.
    [[nodiscard]] NSData markup();

    [[nodiscard]] const NSString& logArea() const override;
    void progressFinished(const NSNotification& notification) override;

private:
    [[nodiscard]] NSError errorToRemember(const NSError& error) override;
};
