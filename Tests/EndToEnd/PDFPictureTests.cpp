#include "EndToEnd/PDFTest.h"
#include "Support/Picture.h"

#include <cmath>
#include <cstdlib>
#include <unistd.h>

using namespace support;

namespace {

// A page that is on one page of a PDF as it is in the engine's own window, when that is as high as the page.
struct LikePage {
    const char* name;
    std::string markup;
};

std::string repeated(const std::string& text, int count)
{
    std::string all;
    for (int index = 0; index < count; ++index)
        all += text;
    return all;
}

std::string numbered(int count, const std::string& before, const std::string& after)
{
    std::string all;
    for (int index = 0; index < count; ++index)
        all += before + std::to_string(index) + after;
    return all;
}

const std::string words = "The harbour lay in the morning light, and paper boats went down the river past the stone. ";

std::vector<LikePage> likePages()
{
    return {
        {"Text", repeated("<h2>A heading</h2><p>" + repeated(words, 5) + "</p><ul><li>one<li>two</ul>", 12)},
        {"WideTable", "<table border=1>" + repeated("<tr>" + numbered(24, "<td>column&nbsp;", "") + "</tr>", 30) + "</table>"},
        {"Backgrounds",
            "<style>body{background:#eef url(dots.svg)}div{background:#cfc;margin:20px;height:150px;border-radius:20px}</style>"
                + repeated("<div>text</div>", 8)},
        {"Gradients",
            "<style>div{height:200px;margin:10px}</style><div style='background:linear-gradient(45deg,red,yellow,blue)'></div>"
            "<div style='background:radial-gradient(circle,white,green)'></div>"
            "<div style='background:conic-gradient(red,blue,red)'></div>"
            "<div style='background:linear-gradient(rgba(0,0,0,.5),transparent)'></div>"},
        {"WebFonts",
            "<style>@font-face{font-family:own;src:url(font.ttf)}body{font:20px own}</style>"
                + repeated("<p>" + words + "</p>", 20)},
        {"SVG",
            repeated(
                "<svg width=500 height=400 viewBox='0 0 100 80'><defs><linearGradient id=g><stop stop-color=red /><stop offset=1 "
                "stop-color=blue /></linearGradient></defs><rect width=100 height=80 fill='url(#g)'/><circle cx=50 cy=40 r=30 "
                "fill=white opacity=.6 /><path d='M10 70L50 10L90 70Z' fill=none stroke=black stroke-width=2 /></svg>",
                3)},
        {"Canvas",
            "<canvas id=c width=400 height=900></canvas><script>const x=c.getContext('2d');for(let "
            "i=0;i<90;i++){x.fillStyle=`hsl(${i*4},80%,50%)`;x.fillRect(i*3,i*10,120,10)}</script>"},
        {"RightToLeft",
            "<html dir=rtl lang=ar><h2>عنوان الصفحة</h2><p>" + repeated("هذا نص عربي طويل للاختبار ", 60)
                + repeated("<p>שלום עולם", 40)},
        {"PrintOnlyRules",
            "<style>@media print{body{display:none}}@page{size:A5 "
            "landscape;margin:3cm}p{break-after:page;background:#ffd}</style>"
                + repeated("<p>" + words + words + "</p>", 20)},
        {"FixedHeader",
            "<style>body{margin:0;padding-top:50px}header{position:fixed;top:0;left:0;right:0;height:40px;background:navy}"
            "footer{position:fixed;bottom:0;width:100%;height:30px;background:maroon}nav{position:sticky;top:40px;background:"
            "silver}"
            "aside{position:sticky;bottom:40px;background:pink}</style><header></header><nav>navigation</nav>"
                + numbered(60, "<p>row ", "") + "<aside>aside</aside><footer></footer>"},
        {"TwoThousandRows", "<table>" + numbered(2000, "<tr><td>row ", "<td>more") + "</table>"},
        {"OneByOne", "<style>body{margin:0}</style><div style='width:1px;height:1px;background:red'></div>"},
        {"Frames",
            "<iframe srcdoc='<body style=background:cyan>in the frame' width=400 height=300></iframe>"
                + repeated("<p>" + words + words + "</p>", 15)
                + "<iframe srcdoc='<body style=background:lime>last' width=400 height=300></iframe>"},
        {"LazyImages",
            numbered(12, "<p style='height:300px'><img loading=lazy width=100 height=100 src='picture.png?", "'></p>")},
        {"Effects",
            repeated("<div style='margin:30px;height:100px;background:white;box-shadow:0 0 20px "
                     "#000;opacity:.8;transform:rotate(2deg)'>shadow</div>",
                8)},
    };
}

class OnePageIsLikeTheView : public PDFTest, public testing::WithParamInterface<LikePage> {
protected:
    // The engine by itself, in a window of that size.
    Picture pictureByEngine(double width, double height)
    {
        std::vector<std::string> arguments = {"chromium-headless-shell", "--headless", "--disable-gpu", "--hide-scrollbars",
            "--window-size=" + std::to_string(std::lround(width)) + "," + std::to_string(std::lround(height)),
            "--screenshot=" + folder.pathOf("window.png"), "--user-data-dir=" + folder.makeFolder("profile"),
            "--blink-settings=lazyLoadEnabled=false", url("/page.html")};
        if (geteuid() == 0)
            arguments.insert(arguments.begin() + 1, "--no-sandbox");
        ProcessOptions options;
        options.arguments = arguments;
        options.environment = {{"PATH", "/usr/local/bin:/usr/bin:/bin"}, {"HOME", folder.pathOf("profile")}};
        const ProcessOutcome outcome = run(options);
        EXPECT_EQ(outcome.exitStatus, 0) << outcome.error;
        return readPNG(folder.pathOf("window.png"));
    }
};

TEST_P(OnePageIsLikeTheView, ButForOnePixelInAHundred)
{
    server.on("/dots.svg",
        typed("image/svg+xml",
            "<svg xmlns='http://www.w3.org/2000/svg' width='20' height='20'><circle cx='10' cy='10' r='4' "
            "fill='orange'/></svg>"));
    server.on("/font.ttf", typed("font/ttf", font()));
    server.on("/picture.png", typed("image/png", pngImage(200, 40, 90, 30, 30)));
    expectPDF(print("<!DOCTYPE html><title>t</title>" + GetParam().markup, "pdfSinglePage"));
    EXPECT_EQ(information()["Pages"], "1");
    const auto [width, height] = pageSize();
    // 72 dots to the inch, and as many more as the page's unit is larger.
    const double unit = std::max(1.0, std::ceil(std::max(width, height) / 14'400 - 0.01));
    (void)runHelper(
        {"pdftoppm", "-r", std::to_string(std::lround(72 * unit)), "-singlefile", pdfPath(), folder.pathOf("printed")});
    const Picture printed = readPPM(folder.pathOf("printed.ppm"));
    const Picture shown = pictureByEngine(static_cast<double>(printed.width), static_cast<double>(printed.height));
    EXPECT_EQ(printed.width, shown.width);
    EXPECT_EQ(printed.height, shown.height);
    EXPECT_LT(differingShare(printed, shown), 0.01);
}

INSTANTIATE_TEST_SUITE_P(Printed, OnePageIsLikeTheView, testing::ValuesIn(likePages()),
    [](const testing::TestParamInfo<LikePage>& page) { return std::string(page.param.name); });

}
