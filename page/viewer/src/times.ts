// Dates and times on the clocks of a zone. Times are seconds since 1970.

import uPlot from "uplot";

export class Clock {
    // The zone that is shown; "" if the times have none.
    readonly zone: string;
    // What the reader should know of the zone; "" if nothing.
    readonly warning: string = "";
    private readonly format: Intl.DateTimeFormat;
    private readonly dates = new Map<number, Date>();

    constructor(zone: string) {
        let used = zone || "UTC";
        try {
            this.format = makeFormat(used, zone !== "");
        } catch {
            this.warning = `This browser does not know the time zone ${zone}. Times are in UTC.`;
            used = "UTC";
            this.format = makeFormat(used, true);
        }
        this.zone = zone && used;
    }

    // A date whose local fields are those of the zone, as uPlot wants it. Panels share it, as it takes long to make.
    zoneDate = (seconds: number): Date => {
        let date = this.dates.get(seconds);
        if (!date) {
            if (this.dates.size > 2000) this.dates.clear();
            date = uPlot.tzDate(new Date(seconds * 1000), this.zone || "UTC");
            this.dates.set(seconds, date);
        }
        return date;
    };

    // Such as 2026-03-29 03:00:00.1 +02:00.
    describe(seconds: number): string {
        const { date, time, second, fraction, offset } = this.fields(seconds);
        return `${date} ${time}:${second}${fraction}${offset && ` ${offset}`}`;
    }

    // Labels of an axis with this step between its ticks: what changes, and below it the date where it begins anew.
    labels(times: number[], step: number): string[] {
        let dateBefore = "";
        return times.map((seconds) => {
            const { date, time, second, fraction } = this.fields(seconds);
            const day = 86400;
            if (step >= 365 * day) return date.slice(0, -6);
            if (step >= 28 * day) return date.slice(0, -3);
            if (step >= day) return date;
            const label = step >= 60 ? time : step >= 1 ? `${time}:${second}` : `${time}:${second}${fraction}`;
            const isNew = date !== dateBefore;
            dateBefore = date;
            return isNew ? `${label}\n${date}` : label;
        });
    }

    private fields(seconds: number) {
        // Doubles hold these times to the microsecond.
        const microseconds = Math.round(seconds * 1e6);
        const whole = Math.floor(microseconds / 1e6);
        const rest = microseconds - whole * 1e6;
        const parts: Partial<Record<Intl.DateTimeFormatPartTypes, string>> = {};
        const date = new Date(whole * 1000);
        if (Number.isNaN(date.getTime())) return { date: "?", time: "?", second: "?", fraction: "", offset: "" };
        for (const part of this.format.formatToParts(date)) parts[part.type] = part.value;
        return {
            date: `${parts.year?.padStart(4, "0")}-${parts.month}-${parts.day}`,
            time: `${parts.hour}:${parts.minute}`,
            second: parts.second ?? "",
            fraction: rest ? `.${rest.toString().padStart(6, "0").replace(/0+$/, "")}` : "",
            offset: (parts.timeZoneName ?? "").replace(/^GMT$/, "+00:00").replace("GMT", ""),
        };
    }
}

function makeFormat(timeZone: string, hasOffset: boolean): Intl.DateTimeFormat {
    return new Intl.DateTimeFormat("en", {
        timeZone,
        year: "numeric",
        month: "2-digit",
        day: "2-digit",
        hour: "2-digit",
        minute: "2-digit",
        second: "2-digit",
        hourCycle: "h23",
        timeZoneName: hasOffset ? "longOffset" : undefined,
    });
}
