// Colours of what is drawn. Those of the channels can be told apart by the colour-blind (after Okabe and Ito).

export interface Theme {
    text: string;
    faint: string;
    grid: string;
    channels: string[];
}

const light: Theme = {
    text: "#333333",
    faint: "#6b6b6b",
    grid: "#e4e4e4",
    channels: ["#0072b2", "#d55e00", "#009e73", "#cc79a7", "#b07d00", "#56b4e9", "#4d4d4d", "#7b3fa0"],
};

const dark: Theme = {
    text: "#cfd3d8",
    faint: "#9aa0a6",
    grid: "#33373d",
    channels: ["#56a8ec", "#f0803c", "#2bc49a", "#e29cc4", "#e6b422", "#9fd8ff", "#d5d5d5", "#b98be0"],
};

// Where the colours begin anew, lines are dashed.
const dashes: number[][] = [[], [7, 3], [2, 3], [9, 3, 2, 3]];

export function currentTheme(isPrinting = matchMedia("print").matches): Theme {
    return !isPrinting && matchMedia("(prefers-color-scheme: dark)").matches ? dark : light;
}

export function colourOf(theme: Theme, index: number): string {
    return theme.channels[index % theme.channels.length];
}

export function dashOf(index: number): number[] {
    return dashes[Math.floor(index / light.channels.length) % dashes.length];
}
