// vqtool: runs images through the vqutil library from the command line.
//
//   vqtool [--op NAME]... [-o OUTPUT] [INPUT]
//
// Without INPUT a built-in test image is generated. The image is converted to
// the library's working format (ARGB32), every requested operation runs in
// order, and the result is converted back to the input's format and written.
// `vqtool --list` shows the operations.
#include <vqutil/vqutil.h>

#include "core/parallel.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QPainter>
#include <QRadialGradient>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

struct Operation {
    const char* name;
    const char* description;
    std::function<bool(QImageEx&)> run;
};

// An S-shaped tone curve through five knots, sampled from the spline.
bool sCurve(QImageEx& image) {
    float x[] = {0, 64, 128, 192, 255}, y[] = {0, 52, 128, 204, 255};
    CubicSpline spline;
    spline.Initialize(x, y, 5);
    unsigned char table[256];
    for (int v = 0; v < 256; ++v)
        table[v] = static_cast<unsigned char>(std::clamp(static_cast<int>(spline.Interpolate(v) + 0.5f), 0, 255));
    return AdjustRGBOffset(image, nullptr, table, table, table, nullptr);
}

// Warm midtones: red gamma up, blue gamma down, a little output headroom.
bool warmLevels(QImageEx& image) {
    ColorLevelsConfig config{};
    for (int c = 0; c < 5; ++c) {
        config.inputWhite[c] = 1;
        config.gamma[c] = 1;
        config.outputWhite[c] = 1;
    }
    config.gamma[1] = 1.15;
    config.gamma[3] = 0.9;
    config.outputBlack[0] = 0.02;
    return vqDoColorLevel(image, nullptr, &config);
}

bool autoContrast(QImageEx& image) {
    double brightness = 0, contrast = 1;
    getAutoBrightContractValue(image, brightness, contrast);
    std::printf("  brightness %.3f, contrast %.3f\n", brightness, contrast);
    CDib::adjustBrightAndContrast(image, nullptr, contrast, brightness);
    return true;
}

const std::vector<Operation>& operations() {
    static const std::vector<Operation> table = {
        {"autolevel", "automatic levels per channel", [](QImageEx& i) { return ThAutoLevel(i) >= 0; }},
        {"autocontrast", "automatic brightness and contrast from the grey histogram", autoContrast},
        {"curves", "S-shaped tone curve from a cubic spline", sCurve},
        {"levels", "warm midtones through the levels tables", warmLevels},
        {"warm", "colour temperature +25 (b* in L*a*b*)", [](QImageEx& i) { DibAdjustTemperature(i, 25); return true; }},
        {"vibrance", "vibrance +0.5", [](QImageEx& i) { DibAdjustVibrance(i, 0.5f); return true; }},
        {"dehaze", "haze removal, strength 60", [](QImageEx& i) { DibAdjustHaze(i, 60, 0.1f, 10); return true; }},
        {"shadows", "shadows/highlights: lift shadows 40, recover highlights 20",
         [](QImageEx& i) { return shadowHighlight(i, 40, 20, 30, 50, 50, 20, 0); }},
        {"saturation", "saturation +30", [](QImageEx& i) { return adjustSaturation(i, 30); }},
        {"blur", "Gaussian blur, radius 8", [](QImageEx& i) { return GaussianBlur(i, 8, nullptr, false); }},
        {"sharpen", "unsharp mask, radius 3, amount 0.6", [](QImageEx& i) { return unsharp_mask_fast(i, 3, 0.6, 2); }},
        {"grey", "grey in place (alpha kept)", [](QImageEx& i) { Dib2Gray(i, nullptr, false); return true; }},
        {"blackwhite", "hue-weighted black and white",
         [](QImageEx& i) { return blackWhite(i, {40, 60, 40, 60, 20, 80}); }},
        {"threshold", "hard threshold at grey 128", [](QImageEx& i) { return thresholdSplit(i, 128); }},
        {"posterize", "six levels per channel", [](QImageEx& i) { return posterize(i, 6); }},
        {"solarize", "solarise above 50 %", [](QImageEx& i) { return DibSolarize(i, nullptr, 50) == 1; }},
        {"invert", "colour negative (alpha kept)", [](QImageEx& i) { return NegativeDib(i, nullptr); }},
    };
    return table;
}

const Operation* findOperation(const QString& name) {
    for (const Operation& op : operations())
        if (name == QLatin1String(op.name))
            return &op;
    return nullptr;
}

// A 640 x 480 picture with gradients, hard edges and soft alpha: enough
// structure to see what an operation does.
QImage builtInImage() {
    QImage image(640, 480, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient sky(0, 0, 0, 480);
    sky.setColorAt(0, QColor(40, 90, 200));
    sky.setColorAt(1, QColor(250, 200, 120));
    painter.fillRect(QRect(0, 0, 640, 360), sky);
    painter.fillRect(QRect(0, 360, 640, 120), QColor(60, 130, 60));
    QRadialGradient sun(480, 140, 70);
    sun.setColorAt(0, QColor(255, 255, 210));
    sun.setColorAt(1, QColor(255, 160, 40, 0));
    painter.setBrush(sun);
    painter.setPen(Qt::NoPen);
    painter.drawEllipse(QPointF(480, 140), 70, 70);
    painter.setBrush(QColor(200, 30, 40, 180));
    painter.drawEllipse(QRectF(90, 250, 180, 180));
    painter.setBrush(QColor(20, 20, 20));
    painter.drawRect(QRect(330, 300, 120, 90));
    return image;
}

// The red, green and blue histograms drawn over each other, as a levels
// dialog shows them.
bool writeHistogram(const QImageEx& image, const QString& path) {
    std::vector<int> red(256), green(256), blue(256);
    getHistoGramValue(image, nullptr, red.data(), green.data(), blue.data());
    int* histograms[] = {red.data(), green.data(), blue.data()};
    QColor fills[] = {QColor(220, 40, 40, 90), QColor(40, 180, 40, 90), QColor(40, 60, 220, 90)};
    QColor outlines[] = {QColor(180, 0, 0), QColor(0, 130, 0), QColor(0, 30, 180)};
    QImage drawn;
    drawHistoGramToImage(drawn, QColor(250, 250, 250), QSize(512, 200), 3, 0, histograms, fills, outlines);
    if (!drawn.save(path)) {
        std::fprintf(stderr, "vqtool: cannot write '%s'\n", qPrintable(path));
        return false;
    }
    std::printf("wrote %s (histogram)\n", qPrintable(path));
    return true;
}

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("vqtool");
    QCommandLineParser parser;
    parser.setApplicationDescription("Runs images through the vqutil image-processing library.");
    parser.addHelpOption();
    parser.addPositionalArgument("input", "Image file to read (default: a built-in test image).", "[input]");
    const QCommandLineOption outputOption({"o", "output"}, "File to write (default: vqtool-out.png).", "file",
                                          "vqtool-out.png");
    const QCommandLineOption opOption("op", "Operation to run; may be repeated (default: autolevel, curves, sharpen).",
                                      "name");
    const QCommandLineOption histogramOption("histogram", "Also draw the result's histogram into this file.", "file");
    const QCommandLineOption listOption("list", "List the operations and exit.");
    parser.addOptions({outputOption, opOption, histogramOption, listOption});
    parser.process(app);

    if (parser.isSet(listOption)) {
        for (const Operation& op : operations())
            std::printf("%-12s %s\n", op.name, op.description);
        return 0;
    }

    std::vector<const Operation*> steps;
    const QStringList names = parser.isSet(opOption) ? parser.values(opOption)
                                                    : QStringList{"autolevel", "curves", "sharpen"};
    for (const QString& name : names) {
        const Operation* op = findOperation(name);
        if (!op) {
            std::fprintf(stderr, "vqtool: unknown operation '%s' (see --list)\n", qPrintable(name));
            return 2;
        }
        steps.push_back(op);
    }

    const QStringList inputs = parser.positionalArguments();
    QImageEx source;
    if (inputs.isEmpty()) {
        source = builtInImage();
        std::printf("input: built-in test image, %dx%d ARGB32\n", source.width(), source.height());
    } else {
        source = QImage(inputs.first());
        if (source.isNull()) {
            std::fprintf(stderr, "vqtool: cannot read '%s'\n", qPrintable(inputs.first()));
            return 1;
        }
        std::printf("input: %s, %dx%d, %d bits per pixel\n", qPrintable(inputs.first()), source.width(),
                    source.height(), source.depth());
    }

    QImageEx working;
    if (!convertToArgb(working, source)) {
        std::fprintf(stderr, "vqtool: out of memory converting the image\n");
        return 1;
    }
    std::printf("converted to ARGB32 (%d bands of rows for a parallel pass)\n",
                vq::planRowBands(0, working.height()).count);

    for (const Operation* op : steps) {
        QElapsedTimer timer;
        timer.start();
        const bool ok = op->run(working);
        std::printf("%s: %s in %.1f ms\n", op->name, ok ? "done" : "FAILED", timer.nsecsElapsed() / 1e6);
        if (!ok)
            return 1;
    }

    const QImage result = working.convertToFormat(source.format());
    const QString output = parser.value(outputOption);
    if (!result.save(output)) {
        std::fprintf(stderr, "vqtool: cannot write '%s'\n", qPrintable(output));
        return 1;
    }
    std::printf("wrote %s (%dx%d)\n", qPrintable(output), result.width(), result.height());
    if (parser.isSet(histogramOption) && !writeHistogram(working, parser.value(histogramOption)))
        return 1;
    return 0;
}
