{ Pascal: subranges, sets, records with variants, nested procedures, strings. }
program tasks;
type
  color = (red, green, blue);
  small = -3..12;
  colors = set of color;
  matrix = array[1..3, red..blue] of small;
  item = record
    name: string[7];
    id: word;
    case kind: color of
      red: (radius: single);
      green: (width, height: longint);
  end;
  pitem = ^item;
var
  grid: matrix;
  mood: colors;
  one: item;
  first: pitem;
  total: int64;

function sum(const m: matrix; by: longint): longint;
var
  i: small;

  procedure add(value: longint);
  begin
    sum := sum + value * by;
  end;
begin
  sum := 0;
  for i := 1 to 3 do
    add(m[i, green]);
end;

begin
  first := @one;
  mood := [red, blue];
  one.id := 3;
  total := sum(grid, 2);
end.
