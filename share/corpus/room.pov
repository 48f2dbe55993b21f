// A room with a tiled floor: things of many shapes, a ball that jumps, a lamp. Prop: the box at the front.
// Kind 1: a white room. AfterCut: seen from the other side, with another wall.
#include "set.inc"

#declare Bright = (Kind = 1 ? 2.2 : 1);
#if (AfterCut)
    Look(<4.5, 2.2, -5>, <-0.5, 0.7, 0.5>, 55)
#else
    Look(<-1, 1.7, -7>, <0, 0.9, 0>, 48)
#end
Lamp(<-6, 7, -6>, <1.0, 0.95, 0.85> * Bright)
Lamp(<3, 4.5, -1>, <0.5, 0.65, 1.0> * 0.8 * Second)
Sky(<0.05, 0.05, 0.07>, <0.1, 0.1, 0.12>)

#declare Jump = abs(sin(T * pi / 15));
#declare World = union {
    plane { y, 0
        Patterned(pigment { checker rgb <0.75, 0.72, 0.65> * (Kind = 1 ? 1.2 : 1) rgb <0.28, 0.20, 0.16> scale 0.7 }, 0.12) }
    plane { -z, -4
        Patterned(pigment { bozo turbulence 0.6 color_map { [0 Hue(900 + AfterCut * 40)] [1 Hue(910 + AfterCut * 40)] } scale 0.8 }, 0) }
    #for (I, 1, Count)
        #local place = <7 * Chance(I * 11) - 3.5, 0, 4 * Chance(I * 11 + 1) - 1>;
        #local extent = 0.2 + 0.35 * Chance(I * 11 + 2);
        #switch (mod(I, 3))
            #case (0)
                sphere { place + y * extent, extent Surface(Hue(I * 11 + 3), 0.15) }
            #break
            #case (1)
                box { <-1, 0, -1>, <1, 2, 1> scale extent rotate y * 90 * Chance(I * 11 + 6) translate place
                      Surface(Hue(I * 11 + 3), 0) }
            #break
            #case (2)
                cone { place, extent, place + y * extent * 2.6, extent * 0.1 Surface(Hue(I * 11 + 3), 0.05) }
            #break
        #end
    #end
    #if (Kind != 2) // Kind 2: nothing moves.
        sphere { <2.6 * sin(T * 0.09), 0.35 + 1.5 * Jump, -1.4>, 0.35 Surface(rgb <0.9, 0.25, 0.1>, 0.1) }
    #end
    #if (!Gone)
        box { <-0.5, 0, -0.5>, <0.5, 1, 0.5> scale PropSize rotate y * 20
              translate <2.4 * Chance(70) - 1.2, 0, -2.3> Surface(rgb <0.2, 0.75, 0.35>, 0) }
    #end
}
Show(World)
