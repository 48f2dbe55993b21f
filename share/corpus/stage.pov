// A stage with figures that dance and spotlights that move. Kind 0: slow lights; 1: lights that change their
// colour every 12 frames; 2: a strobe, every fourth frame is lit; 3: a searchlight that sweeps the dark.
// Prop: the crate.
#include "set.inc"

Look(<0, 2.0, -9>, <0, 1.7, 0>, 46)
Sky(<0.02, 0.02, 0.03>, <0.02, 0.02, 0.03>)
#macro Spot(place, at0, tone)
    #if (!Depth)
        light_source { place, rgb (tone) * Level spotlight point_at at0 radius 9 falloff 17 tightness 0 }
    #end
#end
#switch (Kind)
    #case (2)
        Lamp(<0, 8, -9>, <1, 1, 1.1> * (mod(Shown, 4) = 1 ? 1.3 : 0.2))
    #break
    #case (3)
        Spot(<0, 5, -9>, <5 * sin(T * 0.16), 0.8, 1>, 2.4)
        Lamp(<0, 8, -9>, 0.05)
    #break
    #else
        Lamp(<0, 8, -9>, <0.18, 0.18, 0.22>)
        #for (I, 0, 2)
            #local tone = 0.3 + <Chance(I * 7 + 1), Chance(I * 7 + 2), Chance(I * 7 + 3)>;
            #if (Kind = 1)
                #local beat = floor(T / 12);
                #local tone = 0.2 + <Chance(I * 7 + beat * 31), Chance(I * 7 + beat * 31 + 2), Chance(I * 7 + beat * 31 + 3)>;
            #end
            Spot(<I * 4 - 4, 6, -5>, <3 * sin(T * 0.05 * (I + 1) + I * 2), 0, 1 + cos(T * 0.04 + I)>, 1.6 * tone * (I = 2 ? Second : 1))
        #end
    #break
#end
#declare World = union {
    plane { y, 0
        Patterned(pigment { wood turbulence 0.08 color_map { [0 rgb <0.45, 0.30, 0.18>] [1 rgb <0.62, 0.45, 0.28>] } rotate y * 7 scale <0.4, 1, 3> }, 0.08) }
    plane { -z, -4
        Patterned(pigment { gradient x color_map { [0 rgb <0.35, 0.05, 0.08>] [0.5 rgb <0.6, 0.1, 0.12>] [1 rgb <0.35, 0.05, 0.08>] } scale 0.8 }, 0) }
    #for (I, 1, Count)
        #local beat = 2 * pi * T / 16 + I * 1.3;
        union {
            sphere { y * 1.55, 0.2 }
            cone { y * 0.75, 0.16, y * 1.4, 0.27 }
            cylinder { <-0.12, 0, 0.12 * sin(beat)>, <-0.08, 0.8, 0>, 0.08 }
            cylinder { <0.12, 0, -0.12 * sin(beat)>, <0.08, 0.8, 0>, 0.08 }
            cylinder { <0.2, 1.3, 0>, <0.6, 1.3 + 0.45 * sin(beat), -0.2>, 0.07 }
            cylinder { <-0.2, 1.3, 0>, <-0.6, 1.3 - 0.45 * sin(beat), -0.2>, 0.07 }
            rotate y * 25 * sin(beat / 2)
            translate <(I - (Count + 1) / 2) * 6.4 / Count, 0.1 * abs(sin(beat)), 1.5 * Chance(I * 3) + 0.2>
            Surface(Hue(I * 3 + 60), 0)
        }
    #end
    #if (!Gone)
        box { <-0.5, 0, -0.5>, <0.5, 1, 0.5> scale PropSize rotate y * 30
              translate <3.4 * Chance(74) - 1.7, 0, -2> Surface(rgb <0.6, 0.62, 0.6>, 0) }
    #end
}
Show(World)
