#pragma once

namespace kestrelle {

struct Point {
    double x = 0;
    double y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
    double width = 0;
    double height = 0;
    friend bool operator==(const Size&, const Size&) = default;
};

// A rectangle in points. Screens use the platform's coordinates (y upwards on macOS, downwards
// on X11); the picker's document view counts y from the top.
struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double maxX() const { return x + width; }
    double maxY() const { return y + height; }
    // Half-open, as the platform tests a point against a screen: a point on the shared edge of
    // two screens belongs to one of them only.
    bool contains(Point point) const {
        return point.x >= x && point.x < maxX() && point.y >= y && point.y < maxY();
    }

    friend bool operator==(const Rect&, const Rect&) = default;
};

} // namespace kestrelle
