// D: modules, slices, static arrays, nested functions, interfaces, immutable and shared.
module parts.bin;

enum Kind : ubyte { bolt, nut = 4, washer }
struct Part {
    Kind kind;
    int[3] sizes;
    const(char)[] name;
    union { int whole; ubyte[4] bytes; }
}
interface Counted { int count(); }
__gshared Part[4] stock;
__gshared immutable int limit = 12;
shared int shared_counter;
__gshared wchar letter = 'x';

extern (C) int run_d(int n)
{
    int total = n;
    int add(int more) { total += more; return total; }
    foreach (ref part; stock)
    {
        int inner = part.sizes[1];
        add(inner + part.whole);
    }
    return add(limit);
}
extern (C) void _start() { run_d(3); }
