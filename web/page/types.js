/**
 * What the server says, as it is documented for scripts.
 *
 * @typedef {"queued"|"running"|"done"|"failed"|"paused"|"cancelled"} Status
 *
 * @typedef {object} Found what the Master has found of a job's frames
 * @property {string} checked
 * @property {Record<string, number>} counts
 * @property {number} bad
 * @property {string} badRange
 *
 * @typedef {object} Job
 * @property {string} id
 * @property {string} name
 * @property {string} type
 * @property {string} owner
 * @property {Status} status
 * @property {number|null} priority
 * @property {string|null} created
 * @property {string|null} expectedEnd
 * @property {string} range
 * @property {string} waiting
 * @property {string|null} origin
 * @property {{total: number, done: number, failed: number}} tasks
 * @property {string} stuck
 * @property {Found|null} frames
 *
 * @typedef {object} Action what makes sense in the job's status
 * @property {string} name
 * @property {string} parameter
 * @property {string} [value]
 * @property {number} [least]
 * @property {number} [most]
 * @property {number} [step]
 *
 * @typedef {object} More
 * @property {string[]} formats
 * @property {Action[]} actions
 * @property {Record<string, string>} parameters
 * @property {number|null} frameSeconds
 * @property {number|null} frameSecondsSlowest
 * @property {number|null} framesPerHour
 *
 * @typedef {Job & More} WholeJob
 *
 * @typedef {object} Task
 * @property {number} task
 * @property {number} first
 * @property {number} last
 * @property {string} status
 * @property {number} tries
 * @property {number|null} exit
 * @property {string} reason
 * @property {string} node
 * @property {string} slurm
 * @property {string} slurmState
 * @property {string} stuck
 *
 * @typedef {object} Frame
 * @property {number} frame
 * @property {string} path
 * @property {string} state
 * @property {number|null} size
 * @property {string|null} modified
 * @property {string} why
 * @property {number|null} task
 * @property {{before: number|null, after: number|null}} neighbours
 * @property {Decoded} [decoded]
 * @property {Compared} [pictures]
 *
 * @typedef {object} Decoded
 * @property {number|null} width
 * @property {number|null} height
 * @property {string[]|null} channels
 * @property {string|null} format
 * @property {string} detail
 * @property {string} trouble
 *
 * @typedef {object} Compared
 * @property {string} state
 * @property {string} detail
 * @property {{x: number, y: number, width: number, height: number}|null} place
 * @property {string} range
 * @property {string} notLookedAt
 * @property {string} trouble
 *
 * @typedef {object} SheetHead
 * @property {number} format
 * @property {string} pattern
 * @property {number} pass
 * @property {string} range
 * @property {number} count
 * @property {string[]} states
 * @property {Record<string, number>} counts
 *
 * @typedef {object} ExactSizes
 * @property {true} exact
 * @property {number[]} frame
 * @property {(number|null)[]} size
 * @property {(number|null)[]} lowest
 * @property {(number|null)[]} highest
 * @property {number[]} state
 *
 * @typedef {object} ReducedSizes
 * @property {false} exact
 * @property {{first: number[], count: number[], least: (number|null)[], most: (number|null)[],
 *             lowest: (number|null)[], highest: (number|null)[]}} columns
 * @property {{frame: number[], size: (number|null)[], state: number[], count: number[], total: number}} bad
 *
 * @typedef {ExactSizes | ReducedSizes} Sizes
 *
 * @typedef {object} FramesChange
 * @property {string} job
 * @property {number} format
 * @property {number} pass
 * @property {boolean} isEnd not of what a pass that goes on has found so far
 * @property {Record<string, string>} changed ranges by state
 * @property {Record<string, number>} counts
 * @property {string} trouble why nothing is known of the frames
 *
 * @typedef {object} MasterState
 * @property {boolean} connected
 * @property {string|null} since
 * @property {string} user
 * @property {string[]} rights
 *
 * @typedef {object} Session
 * @property {string} user
 * @property {string[]} rights
 * @property {boolean} isPersonal
 */

export {};
