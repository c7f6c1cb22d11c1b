// C++17 as debug information has it: namespaces of all kinds, classes, templates, lambdas, references, pointers to
// members.
namespace std {
using nullptr_t = decltype(nullptr);
}

namespace geometry {
enum class Color : unsigned char { red, green = 7, blue };
enum Plain : short { minus = -3, plus = 3 };
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
int Point::count = 5;
}  // namespace v2
namespace {
int hidden = 3;
struct Secret {
  short code : 5;
  bool on : 1;
  Color color : 4;
  int Run(int n) const { return code + n; }
};
}  // namespace
namespace detail::deep {
template <class T, int N>
struct Ring {
  T items[N];
  unsigned first = 0;
  T& At(int i) { return items[(first + i) % N]; }
  struct Cursor {
    Ring* ring;
    T* Next() { return &ring->At(1); }
  };
};
template <class... Parts>
int Sum(Parts... parts) {
  return (0 + ... + parts);
}
}  // namespace detail::deep
}  // namespace geometry

using geometry::Point;
template <class T>
using Pair = geometry::detail::deep::Ring<T, 2>;
namespace short_name = geometry::detail::deep;

struct Shape {
  virtual ~Shape() {}
  virtual int Area() const = 0;
  int id = 1;
};
struct Named {
  const char* name = "shape";
  virtual const char* Name() { return name; }
};
struct Solid : virtual Shape {
  double weight = 1.5;
};
struct Box : Solid, Named, virtual Shape {
  Point low, high;
  mutable int cached;
  union {
    int whole;
    char bytes[4];
  };
  struct {
    unsigned flag : 1;
  } state;
  friend int Peek(const Box&);
  int Area() const override { return (high.x - low.x) * (high.y - low.y); }
  template <class T>
  T Scale(T by) {
    return by * id;
  }

 public:
  static inline int boxes = 9;

 protected:
  int secret = 4;
};
int Peek(const Box& box) { return box.secret; }

int Point::*member = &Point::y;
int (geometry::Secret::*method)(int) const = &geometry::Secret::Run;
int&& temporary = 3;
std::nullptr_t nothing = nullptr;
Pair<char> pair;
geometry::detail::deep::Ring<Point, 4> ring;
char16_t wide16 = u'x';
char32_t wide32 = U'x';
thread_local int per_thread;
inline constexpr long long big_constant = 0x123456789abcdef;
volatile int sink;

template <class F>
__attribute__((noinline)) int Apply(F&& f, int n) {
  return f(n) + 1;
}

extern "C" int run(int n, Point&& moved, const Point& kept) {
  struct Local {
    int base;
    int Get(int more) const { return base + more; }
    static int Twice(int a) { return a * 2; }
  };
  Local local{n};
  auto lambda = [&](int a) {
    auto nested = [=](int b) { return a * b + local.Get(b); };
    return Apply(nested, n);
  };
  int total = Apply(lambda, 3) + Local::Twice(n);
  {
    int inner = geometry::detail::deep::Sum(n, short{2}, 'c');
    sink = inner;
    for (auto& item : ring.items) {
      auto& [x, y] = item;
      total += x * y;
    }
  }
  geometry::Secret secret{static_cast<short>(n), true, geometry::Color::blue};
  total += (secret.*method)(n) + moved.*member + (kept + moved).x + geometry::hidden;
  Box box;
  geometry::detail::deep::Ring<Point, 4>::Cursor cursor{&ring};
  if (Point made = *cursor.Next(); made) total += made[1];
  if (geometry::Plain plain = n > 2 ? geometry::plus : geometry::minus; plain == geometry::minus) total--;
  return total + box.Scale(2) + box.Scale(2.5f) + box.Area() + Peek(box) + pair.At(1) + (nothing == nullptr) +
         box.boxes + (kept == moved) + Point::count + Point::dimensions + static_cast<int>(big_constant);
}

extern "C" int _start() {
  Point p{1, 2};
  return run(static_cast<int>(wide16 + wide32), Point{3, 4}, p);
}
