// Shares types with shapes.cpp, so that type units and dwz have something to join.
namespace geometry {
inline namespace v2 {
struct Point {
  int x, y;
  static int count;
  static constexpr int dimensions = 2;
  bool operator==(const Point& other) const { return x == other.x && y == other.y; }
  Point operator+(const Point& other) const { return {x + other.x, y + other.y}; }
  explicit operator bool() const { return x || y; }
  int& operator[](int i) { return i ? y : x; }
};
}  // namespace v2
enum class Color : unsigned char { red, green = 7, blue };
}  // namespace geometry
namespace {
geometry::Color hidden = geometry::Color::green;
}
#ifndef USE
#define USE other_use
geometry::Point origin{1, 2};
#endif
extern geometry::Point origin;
int USE(geometry::Point* p) {
  hidden = geometry::Color::red;
  return *p == origin ? geometry::Point::count : (*p)[0];
}
