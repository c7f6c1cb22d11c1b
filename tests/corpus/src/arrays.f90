! Fortran: lower bounds, CONTAINS, modules, common blocks, strings, arrays whose bounds are known at run time.
module shared
  implicit none
  integer, parameter :: limit = 12
  integer :: counter = 3
  real(8), dimension(-2:3, 0:4) :: grid
  type :: particle
    real :: position(3)
    character(len=5) :: label
    integer, pointer :: links(:)
    logical :: alive
    complex :: phase
  end type particle
  type, extends(particle) :: heavy
    integer(8) :: mass
  end type heavy
  type(particle) :: crowd(10)
contains
  subroutine move(p, step)
    type(particle), intent(inout) :: p
    real, intent(in) :: step
    p%position = p%position + step
    counter = counter + 1
  end subroutine move
end module shared

subroutine work(values, n, text)
  use shared
  implicit none
  integer, intent(in) :: n
  integer, intent(inout) :: values(n)
  character(len=*), intent(in) :: text
  integer :: first, second
  real :: scratch(0:7)
  common /block/ first, second
  common /block2/ scratch
  integer :: i
  character(len=8) :: word
  word = text
  do i = 1, n
    values(i) = inner(i) + first
  end do
  second = ichar(word(1:1))
contains
  integer function inner(j)
    integer, intent(in) :: j
    inner = j * n + counter
  end function inner
end subroutine work

program main
  use shared
  implicit none
  integer :: data(4) = [1, 2, 3, 4]
  type(heavy) :: rock
  rock%mass = 5
  call work(data, 4, 'hello')
  call move(crowd(2), 1.5)
end program main
