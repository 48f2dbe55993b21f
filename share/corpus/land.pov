// Open land under a bright sky: rough ground, Count trees, clouds that drift. Prop: the hut.
// Kind 1: snow, all bright. Kind 2: at night. AfterCut: from above.
#include "set.inc"

#declare Day = (Kind = 2 ? 0.06 : 1);
#if (AfterCut)
    Look(<3, 7, -9>, <0, 0, 4>, 50)
#else
    Look(<0, 1.5, -9>, <0, 1.4, 4>, 55)
#end
Lamp(<-60, 50, -30>, <1.3, 1.22, 1.05> * Day)
Lamp(<1.2, 1.2, -1>, <0.9, 0.6, 0.2> * (Kind = 2 ? 1 : 0.001) * Second)
#if (!Depth)
    sky_sphere { pigment { bozo turbulence 0.5 color_map { [0.35 rgb <0.35, 0.52, 0.85> * Day * Level] [0.7 rgb 0.95 * Day * Level] }
                           scale <0.5, 0.16, 0.5> translate x * T * 0.004 } }
#end
#if (Kind = 1)
    #declare Ground = pigment { granite color_map { [0 rgb <0.72, 0.76, 0.85>] [1 rgb 0.98] } scale 1.3 }
#else
    #declare Ground = pigment { granite turbulence 0.3 color_map { [0 rgb <0.20, 0.16, 0.09>] [0.5 rgb <0.35, 0.42, 0.16>] [1 rgb <0.7, 0.65, 0.42>] } scale 0.9 }
#end
#declare World = union {
    plane { y, 0 Patterned(Ground, 0) }
    #for (I, 1, 5)
        sphere { 0, 1 scale <7, 1.4 + 2 * Chance(300 + I), 3> translate <I * 9 - 27, 0, 34> Patterned(Ground, 0) }
    #end
    #for (I, 1, Count)
        #local high = 0.9 + 1.3 * Chance(I * 9 + 2);
        union {
            cylinder { 0, y * high * 0.4, 0.07 Surface(rgb <0.3, 0.2, 0.1>, 0) }
            cone { y * high * 0.3, high * 0.32, y * high, 0 Surface(rgb <0.1, 0.22 + 0.2 * Chance(I * 9 + 3), 0.1>, 0) }
            translate <26 * Chance(I * 9) - 13, 0, 14 * Chance(I * 9 + 1) - 3>
        }
    #end
    #if (!Gone)
        union {
            box { <-0.5, 0, -0.4>, <0.5, 0.6, 0.4> }
            prism { linear_sweep -0.45, 0.45, 4, <-0.6, 0.6>, <0.6, 0.6>, <0, 1.05>, <-0.6, 0.6> rotate -x * 90 }
            scale PropSize translate <3 * Chance(73) - 1.5, 0, -4.5>
            Surface(rgb <0.75, 0.3, 0.2>, 0)
        }
    #end
}
Show(World)
