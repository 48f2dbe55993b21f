// A machine: a fan, two wheels and pistons that turn and move for ever, 24 frames a round. Prop: the bolt
// on the plate. Kind 1: the fan turns a blade in 5 frames, so that it seems to stand or to run backwards.
#include "set.inc"

Look(<0.3, 0.6, -6.4>, <0.1, 0.1, 0>, 46)
Lamp(<-5, 6, -7>, <1.0, 0.97, 0.9>)
Lamp(<6, -1, -5>, <0.35, 0.45, 0.6> * Second)
Sky(<0.03, 0.04, 0.05>, <0.10, 0.11, 0.13>)

#declare Turn = 360 * T / 24;
#if (AfterCut) #declare Metal = rgb <0.5, 0.6, 0.7>; #else #declare Metal = rgb <0.75, 0.55, 0.25>; #end

#macro Wheel(teeth, reach, tone)
    union {
        torus { reach, reach * 0.14 rotate x * 90 }
        cylinder { -z * 0.12, z * 0.12, reach * 0.25 }
        #for (I, 1, teeth)
            box { <-0.07, reach, -0.1>, <0.07, reach * 1.22, 0.1> rotate z * 360 * I / teeth }
        #end
        #for (I, 1, 5)
            box { <-0.06, 0, -0.06>, <0.06, reach, 0.06> rotate z * 72 * I }
        #end
        Surface(tone, 0.2)
    }
#end

#declare World = union {
    plane { -z, -1
        Patterned(pigment { granite color_map { [0 rgb <0.22, 0.24, 0.27>] [1 rgb <0.45, 0.46, 0.5>] } scale 1.7 }, 0) }
    object { Wheel(14, 0.95, Metal) rotate z * Turn translate <-1.9, 0.4, 0> }
    object { Wheel(9, 0.62, Hue(20)) rotate -z * (Turn * 2 + 14) translate <-0.15, 0.55, 0.05> }
    union {
        #for (I, 1, 5)
            box { <-0.22, 0.1, -0.03>, <0.22, 1.1, 0.03> rotate y * 24 rotate z * 72 * I }
        #end
        rotate z * (Kind = 1 ? T * 72 / 5 * 4.9 : Turn * 3)
        translate <1.9, 0.7, -0.1>
        Surface(Hue(33), 0.1)
    }
    #for (I, 0, 3)
        #local lift = 0.3 * sin(radians(Turn + I * 90));
        union {
            cylinder { <0, -2.6, 0>, <0, -1.2 + lift, 0>, 0.09 }
            cylinder { <0, -1.2 + lift, 0>, <0, -0.9 + lift, 0>, 0.24 }
            translate x * (I * 0.85 - 1.0)
            Surface(Hue(50 + I * 3), 0.1)
        }
    #end
    #if (!Gone)
        sphere { <2.6 * Chance(71) - 0.2, 1.75, 0.75>, PropSize / 2 Surface(rgb <0.85, 0.15, 0.1>, 0.1) }
    #end
}
Show(World)
