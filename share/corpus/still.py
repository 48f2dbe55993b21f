"""Things on a table that go around a glass: metal, wax, glass, under one broad lamp. Prop: the cup.

Kind 1: nothing moves. After the cut: from the other side."""

import math
import os
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import bpy  # noqa: E402

import studio  # noqa: E402
from studio import SHOT, chance, hue  # noqa: E402


def table():
    wood = studio.patterned("Wood", "ShaderNodeTexNoise", {"Scale": 3.0, "Detail": 4.0, "Distortion": 1.5},
                            ((0.35, (0.10, 0.04, 0.015)), (0.65, (0.42, 0.22, 0.09))), roughness=0.25,
                            stretch=(1, 8, 1))
    studio.show("Table", studio.ground(6), wood)
    cloth = studio.patterned("Cloth", "ShaderNodeTexChecker", {"Scale": 5.0},
                             ((0.0, hue(900)), (1.0, (0.75, 0.72, 0.66))), roughness=0.9)
    studio.show("Wall", studio.ground(24), cloth, (0, 2.2, 0), (90, 0, 0))


def going_around(made, number, reach, height):
    """On a way of its own, at its own pace."""
    start, pace = 2 * math.pi * chance(number), 0.03 + 0.05 * chance(number + 1)

    def where(T):
        return reach * math.cos(start + pace * T), 0.8 * reach * math.sin(start + pace * T), height

    if SHOT["Kind"] == 1:
        made.location = where(0)
    else:
        studio.animate(made, "location", where)
        studio.animate(made, "rotation_euler", lambda T: (0, 0, 2 * pace * T))


def things():
    for number in range(SHOT["Count"]):
        at = number * 11
        size = 0.09 + 0.13 * chance(at + 2)
        surface = studio.material("Thing", hue(at + 3), roughness=(0.08, 0.5, 0.25)[number % 3],
                                  metallic=(1, 0, 0)[number % 3], glass=1.0 if number % 6 == 2 else 0.0)
        data = (studio.ball(size), studio.column(size, 2 * size), studio.box())[number % 3]
        made = studio.show("Thing", data, surface, scale=2 * size if number % 3 == 2 else 1)
        going_around(made, at + 6, 0.45 + 1.0 * number / max(1, SHOT["Count"]), size)
    glass = studio.material("Glass", (0.9, 0.95, 1.0), roughness=0.0, glass=1.0)
    studio.show("Glass", studio.ball(0.3), glass, (0, 0, 0.3))


def cup():
    surface = studio.material("Cup", (0.05, 0.45, 0.18), roughness=0.2)
    side = SHOT["PropSize"]
    place = (1.3 * chance(70) - 0.65, -1.35, 0.25 * side)
    studio.show("Cup", studio.column(0.22 * side, 0.5 * side), surface, place)
    studio.show("Handle", studio.mesh(bpy.ops.mesh.primitive_torus_add, is_round=True, major_radius=0.15 * side,
                                      minor_radius=0.035 * side),
                surface, (place[0] + 0.25 * side, place[1], place[2]), (90, 0, 0))


studio.begin()
studio.sky((0.05, 0.05, 0.06), (0.12, 0.13, 0.16))
studio.lamp("AREA", (-1.6, -1.2, 2.6), (28, -30, 0), (1.0, 0.86, 0.68), 90, size=1.2)
studio.lamp("AREA", (2.4, -0.5, 1.2), (0, 70, 0), (0.5, 0.68, 1.0), 18, size=0.5)
studio.look((-0.4, -3.6, 1.5), (0, 0, 0.25), 40)
studio.look((2.6, -2.4, 1.0), (0, 0.2, 0.3), 46)
table()
things()
if not SHOT["Gone"]:
    cup()
studio.render()
