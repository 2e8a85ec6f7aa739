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

#include <cstdio>
#include <functional>
#include <vector>

namespace {

struct Operation {
    const char* name;
    const char* description;
    std::function<bool(QImageEx&)> run;
};

void invertRow(uint8_t* p, int width) {
    for (int x = 0; x < width; ++x, p += 4) {
        p[0] = static_cast<uint8_t>(255 - p[0]);
        p[1] = static_cast<uint8_t>(255 - p[1]);
        p[2] = static_cast<uint8_t>(255 - p[2]);
    }
}

// Colour negative through the band dispatcher, alpha kept.
bool invertColours(QImageEx& image) {
    image.beginDetach();
    uint8_t* bits = image.bits();
    const qsizetype stride = image.bytesPerLine();
    const int width = image.width();
    processLinesParallel(0, image.height(), [=](int row, int end) {
        for (; row < end; ++row)
            invertRow(bits + row * stride, width);
    });
    image.endDetach();
    return true;
}

const std::vector<Operation>& operations() {
    static const std::vector<Operation> table = {
        {"invert", "colour negative in parallel bands (alpha kept)", invertColours},
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
    const QCommandLineOption opOption("op", "Operation to run; may be repeated (default: invert).", "name");
    const QCommandLineOption listOption("list", "List the operations and exit.");
    parser.addOptions({outputOption, opOption, listOption});
    parser.process(app);

    if (parser.isSet(listOption)) {
        for (const Operation& op : operations())
            std::printf("%-12s %s\n", op.name, op.description);
        return 0;
    }

    std::vector<const Operation*> steps;
    const QStringList names = parser.isSet(opOption) ? parser.values(opOption) : QStringList{"invert"};
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
    return 0;
}
