// Letters. Kind 0: credits that rise; 1: cards, another every 18 frames; 2: one card that stands; 3: a line
// to which a letter is added every 3 frames. Prop: the disc in the corner.
#include "set.inc"

Look(<0, 0, -8>, <0, 0, 0>, 50)
Lamp(<-5, 6, -8>, 1)
#macro Line(words, height, place)
    text { internal 1 words 0.1, 0 scale height translate place Glow(<1.0, 0.97, 0.88>) }
#end
#declare Words = array[8] { "Light", "Second unit", "Matte and paint", "Set", "Music by night", "Colour",
                            "Rigging and cloth", "Thanks to all" }
#declare World = union {
    plane { -z, -3
        Patterned(pigment { gradient x + y * 0.6 color_map { [0 Hue(10)] [0.5 Hue(14)] [1 Hue(10)] } scale 9 translate x * 4 }, 0) }
    #switch (Kind)
        #case (0)
            #for (I, 0, 7)
                Line(Words[I], 0.5, <-2.3 + 0.7 * mod(I, 2), T * 0.045 * Speed - I * 1.05 + 0.5, 0>)
            #end
        #break
        #case (1)
            #local card = mod(floor(T / 18) + Seed, 7);
            Line(Words[card], 0.8, <-2.6, 0.3, 0>)
            Line(Words[card + 1], 0.42, <-2.2, -0.8, 0>)
        #break
        #case (2)
            Line(Words[mod(Seed, 8)], 0.9, <-2.7, 0.2, 0>)
            Line("12:34:56 - 0789", 0.4, <-2.3, -1.0, 0>)
        #break
        #case (3)
            Line(substr("The second day at the works", 1, min(27, 1 + int(T / 3))), 0.42, <-3.1, 0.1, 0>)
        #break
    #end
    #if (!Gone)
        cylinder { <3.0, -1.5, 0>, <3.0, -1.5, 0.2>, PropSize / 2 Surface(rgb <0.9, 0.3, 0.15>, 0) }
    #end
}
Show(World)
