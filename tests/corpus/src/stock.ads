--  Ada: ranges, arrays indexed by enumerations, variant records, packed arrays, modular and fixed-point types.
package Stock is
   type Color is (Red, Green, Blue);
   type Level is range -5 .. 20;
   type Word is mod 2 ** 16;
   type Money is delta 0.01 range -100.0 .. 100.0;
   subtype Small is Integer range 1 .. 10;
   type By_Color is array (Color) of Integer;
   type Table is array (Small, Level range -2 .. 2) of Word;
   type Flags is array (0 .. 11) of Boolean;
   pragma Pack (Flags);
   type Shape (Kind : Color := Red) is record
      Id : Level;
      case Kind is
         when Red => Radius : Float;
         when Green => Width, Height : Integer;
         when Blue => null;
      end case;
   end record;
   type Node;
   type Link is access Node;
   type Node is record
      Next : Link;
      Tag  : Character;
      Text : String (3 .. 7);
   end record;
   Totals : By_Color := (1, 2, 3);
   Grid   : Table;
   Marks  : Flags;
   Item   : Shape;
   Head   : Node;
   Price  : Money := 1.25;
   procedure Run (N : Integer; Result : out Integer);
   pragma Export (C, Run, "run_ada");
end Stock;
