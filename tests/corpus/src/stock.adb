package body Stock is
   Hidden : Integer := 7;

   function Sum (Values : By_Color) return Integer is
      Total : Integer := 0;

      procedure Add (Value : Integer) is
      begin
         Total := Total + Value;
      end Add;
   begin
      for I in Values'Range loop
         Add (Values (I));
      end loop;
      return Total;
   end Sum;

   procedure Run (N : Integer; Result : out Integer) is
      Local : array (1 .. N) of Integer := (others => 1);
   begin
      declare
         Inner : Level := 3;
      begin
         Hidden := Hidden + Integer (Inner) + Local (N);
      end;
      Result := Sum (Totals) + Hidden;
   end Run;
end Stock;
