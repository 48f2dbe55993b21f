// Count particles before a few towers. Kind 0: snow; 1: rain; 2: a fountain of sparks; 3: a burst at frame
// 30 with its light. Prop: the lantern.
#include "set.inc"

Look(<0, 1.6, -8>, <0, 2.1, 0>, 50)
#declare Night = (Kind >= 2 ? 0.25 : 1);
Lamp(<-8, 10, -8>, <0.8, 0.85, 1.0> * Night)
Lamp(<6, 6, -4>, <0.5, 0.4, 0.3> * Night * Second)
Sky(<0.30, 0.34, 0.40> * Night, <0.12, 0.16, 0.26> * Night)

#declare Since = T - 29;
#if (Kind = 3 & Since >= 0 & !Depth)
    light_source { <0, 2.4, -1>, rgb <1.6, 1.1, 0.6> * Level * exp(-Since / 8) * min(1, (Since + 1) / 2) }
#end

#declare Particles = union {
    #for (I, 1, Count)
        #local a = Chance(I * 5);
        #local b = Chance(I * 5 + 1);
        #local c = Chance(I * 5 + 2);
        #switch (Kind)
            #case (0)
                #local high = mod(b * 6 - T * (0.04 + 0.03 * c) + 600, 6);
                sphere { <9 * a - 4.5 + 0.2 * sin(T * 0.13 + I), high, 4 * c - 5>, 0.022 }
            #break
            #case (1)
                #local high = mod(b * 6 - T * (0.5 + 0.15 * c) + 6000, 6);
                cylinder { <9 * a - 4.5, high, 4 * c - 5>, <9 * a - 4.48, high + 0.35, 4 * c - 5>, 0.008 }
            #break
            #case (2)
                // Each spark lives for 30 frames, then is thrown anew.
                #local age = mod(T + 30 * c + 30, 30) / 10;
                sphere { <(a - 0.5) * 1.6 * age, 0.2 + (2.2 + 1.2 * b) * age - 0.9 * age * age, -1 + (c - 0.5) * age>, 0.018 }
            #break
            #case (3)
                #if (Since >= 0)
                    #local far = 3.2 * (1 - exp(-Since / 9)) * (0.3 + 0.7 * c);
                    sphere { <0, 2.4, -1> + far * vnormalize(<a - 0.5, b - 0.45, Chance(I * 5 + 3) - 0.5>) - y * 0.0011 * Since * Since,
                             0.05 * exp(-Since / 25) }
                #else
                    sphere { <9 * a - 4.5, 5 * b, 30>, 0.01 }
                #end
            #break
        #end
    #end
    #if (Kind >= 2)
        Glow(<6, 3, 1> * exp(-max(0, (Kind = 3 ? Since : 0)) / 30))
    #else
        Glow(<0.85, 0.88, 0.95>)
    #end
}
#declare World = union {
    plane { y, 0
        Patterned(pigment { bozo color_map { [0 rgb 0.16] [1 rgb 0.32] } scale 0.5 }, (Kind = 1 ? 0.25 : 0)) }
    #for (I, 1, 7)
        box { <-0.5, 0, -0.5>, <0.5, 1.5 + 2.8 * Chance(800 + I), 0.5> rotate y * 40 * Chance(810 + I)
              translate <I * 1.5 - 6, 0, 2 + 2.5 * Chance(820 + I)>
              Patterned(pigment { brick Hue(830 + I * 3) Hue(860 + I * 3) scale 0.06 }, 0) }
    #end
    object { Particles }
    #if (!Gone)
        union {
            cylinder { 0, y * 1.4, 0.04 }
            box { <-0.3, 1.4, -0.3>, <0.3, 1.4 + PropSize, 0.3> }
            translate <4 * Chance(72) - 2, 0, -1.8>
            Surface(rgb <0.7, 0.6, 0.15>, 0)
        }
    #end
}
Show(World)
