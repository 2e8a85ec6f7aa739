// A program outside the project that uses the installed library.
#include <vqutil/vqutil.h>

#include <cstdio>

int main() {
    QImageEx grey = QImage(8, 4, QImage::Format_Grayscale8);
    grey.fill(200u);
    QImageEx argb;
    if (!convertToArgb(argb, grey) || argb.format() != QImage::Format_ARGB32)
        return 1;

    CDib dib(argb);
    CRect a(0, 0, 8, 4), b(4, 2, 20, 20), both;
    if (!IntersectRect(&both, &a, &b) || both.right != 8 || dib.bytesPerLine() != 32)
        return 2;
    std::puts("consumer OK");
    return 0;
}
