/** Where the cells of the sheet are: rows of equal cells, each a frame or a run of them. */

/** Pixels of a cell that is one frame, and of one that stands for many and says how many are bad. */
const SMALLEST = 12;
const LARGEST = 40;
const MANY = { width: 40, height: 20 };

/**
 * @typedef {object} Layout
 * @property {number} columns
 * @property {number} rows
 * @property {number} each frames a cell
 * @property {number} width of a cell, in pixels
 * @property {number} height
 * @property {number} from the first place in view
 * @property {number} to
 */

/**
 * The largest cells with which [from, to) fits.
 * @param {number} width of the sheet, in pixels
 * @param {number} height
 * @param {number} from
 * @param {number} to
 * @returns {Layout}
 */
export function layOut(width, height, from, to) {
    const count = Math.max(1, to - from);
    for (let size = LARGEST; size >= SMALLEST; --size) {
        const columns = Math.max(1, Math.floor(width / size));
        if (columns * Math.max(1, Math.floor(height / size)) >= count)
            return { columns, rows: Math.ceil(count / columns), each: 1, width: size, height: size, from, to };
    }
    const columns = Math.max(1, Math.floor(width / MANY.width));
    const each = Math.ceil(count / (columns * Math.max(1, Math.floor(height / MANY.height))));
    return {
        columns,
        rows: Math.ceil(Math.ceil(count / each) / columns),
        each,
        width: Math.floor(width / columns),
        height: MANY.height,
        from,
        to,
    };
}

/**
 * The height that all frames take in the largest cells.
 * @param {number} width
 * @param {number} count
 */
export function heightOf(width, count) {
    return Math.ceil(Math.max(1, count) / Math.max(1, Math.floor(width / LARGEST))) * LARGEST;
}

/**
 * The cell of a place.
 * @param {Layout} layout
 * @param {number} place
 */
export function cellOf(layout, place) {
    return Math.floor((place - layout.from) / layout.each);
}

/**
 * The first place of the cell at a point, -1 beside all cells.
 * @param {Layout} layout
 * @param {number} x
 * @param {number} y
 */
export function placeAt(layout, x, y) {
    const column = Math.floor(x / layout.width);
    const row = Math.floor(y / layout.height);
    if (column < 0 || column >= layout.columns || row < 0) return -1;
    const place = layout.from + (row * layout.columns + column) * layout.each;
    return place < layout.to ? place : -1;
}
