/* What C programs have in common: inlined calls in inlined calls, blocks, hot and cold parts, code that the linker throws away, arrays
 * of all kinds, bit fields that cross their unit, constants without a place. */
typedef unsigned char byte;
typedef unsigned short half;

enum level { LOW = -2, MIDDLE, HIGH = 100000 };
struct packed_bits {
  unsigned a : 3;
  int b : 12;
  unsigned c : 20;
  unsigned long long d : 40;
  byte e : 2, f : 7;
  half g : 9;
  enum level level : 20;
} __attribute__((aligned(8)));
struct tight_bits {
  byte lead;
  unsigned long long wide : 61;
  unsigned crosses : 30;
  int last : 5;
} __attribute__((packed));
union either {
  float real;
  struct {
    unsigned mantissa : 23, exponent : 8, sign : 1;
  };
  byte bytes[4];
};
struct list {
  struct list *next;
  union either value;
  int (*compare)(const struct list *, const struct list *);
  int matrix[2][3][4];
  byte tail[];
};
struct unknown;

struct packed_bits bits = {1, -5, 77, 1ull << 39, 2, 99, 300, HIGH};
struct tight_bits tight;
struct list *volatile head;
struct unknown *handle;
const char *const names[] = {"one", "two", "three"};
static const int limit = 12345;
static volatile unsigned port;
byte table[256];
int empty[0];
extern int declared_only;
_Bool flag = 1;
_Complex double wave;

static inline __attribute__((always_inline)) unsigned mix(unsigned a, unsigned b) {
  unsigned t = a ^ (b << 5);
  return t * 33;
}

static inline __attribute__((always_inline)) unsigned mix_twice(unsigned a) {
  const unsigned half_way = mix(a, 7);
  {
    unsigned inner = half_way + limit;
    port = inner;
    return mix(inner, half_way);
  }
}

__attribute__((cold, noinline)) static void report(const char *text, int code) {
  while (*text)
    port = (unsigned)*text++ + (unsigned)code;
}

__attribute__((noinline)) unsigned checksum(const byte *data, unsigned n) {
  unsigned sum = 1;
  for (unsigned i = 0; i < n; i++) {
    if (__builtin_expect(data[i] == 255, 0)) {
      report("bad byte", (int)i);
      port = mix(sum, i);
      report(names[i % 3], 2);
      continue;
    }
    unsigned part = mix_twice(data[i]);
    sum += part;
  }
  return sum;
}

__attribute__((noinline)) int variable_length(int n) {
  int local[n + 1];
  volatile int *p = local;
  for (int i = 0; i <= n; i++)
    p[i] = i * n;
  return p[n / 2];
}

int thrown_away(int a) {
  int twice = a * 2;
  {
    int inside = (int)mix_twice((unsigned)twice);
    port = (unsigned)inside;
  }
  return twice + variable_length(a);
}

unsigned also_thrown_away(struct list *one) {
  unsigned sum = 0;
  for (; one; one = one->next)
    sum += mix((unsigned)one->matrix[1][2][3], one->value.mantissa);
  return sum;
}
int thrown_variable = 3;

static int by_reference(int *value, struct packed_bits copy) {
  static int calls;
  *value += ++calls + (int)copy.d;
  return copy.b;
}

int main(void) {
  int value = (int)checksum(table, sizeof table);
  for (unsigned round = 0;; round++) {
    struct point { short x, y; } at = {(short)round, 2};
    value += variable_length((int)(round & 7)) + at.x;
    value += by_reference(&value, bits);
    port = (unsigned)value;
    if (value < 0) {
      long long sum = value;
      tight.wide += (unsigned long long)sum;
      report("negative", value);
    }
  }
}
